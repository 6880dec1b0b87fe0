// The library over iODBC and SQLite: what this driver, or the driver manager with any narrow one,
// has of its own. tests/sources has what is expected of every source.
#include "gateway_fixture.h"

namespace {

class SqliteTest : public GatewayTest {
protected:
    SqliteTest()
    {
        connection = Call("DSNConnect", {"DRIVER={SQLite3};Database=:memory:"}).Bytes();
        statement = Call("AllocStatement", {connection}).Bytes();
    }
    ~SqliteTest() override
    {
        EXPECT_EQ(Code("DropStatement", {statement}), 0);
        EXPECT_EQ(Code("Disconnect", {connection}), 0);
    }

    void Run(const std::string& sql)
    {
        ASSERT_EQ(Code("Prepare", {statement, sql}), 0) << sql;
        ASSERT_EQ(Code("Execute", {statement}), 0)
            << sql << List("GetSQLErrors", {connection, statement});
    }

    /// All rows of a query, a line each.
    std::string Rows(const std::string& sql)
    {
        Run(sql);
        std::string text;
        const Reply reply = Call("FetchRows", {statement, 9});
        EXPECT_EQ(WasError(), 0);
        for (const ListElement& row : DecodeList(reply.List())) {
            text += ListText(row.payload) + "\n";
        }
        EXPECT_EQ(Code("CloseCursor", {statement}), 0);
        return text;
    }

    std::string connection;
    std::string statement;
};

// The driver manager's defects, each where it would show if nothing mended it.
class WideRead : public SqliteTest {
protected:
    WideRead() { Code("SetUnicodeOption", {1}); }
};

TEST_F(WideRead, NullIsTold)
{
    EXPECT_EQ(Rows("SELECT NULL, 'x', NULL"), "\"\", u\"x\", \"\"\n");
    Run("SELECT NULL");
    ASSERT_EQ(Code("Fetch", {statement}), 0);
    EXPECT_EQ(Call("GetDataW", {statement, 1, -8}).length, 0U);
}

TEST_F(WideRead, NullAfterLongValue)
{
    const std::string sql =
        "SELECT printf('%.*c', 999, 'x'), NULL, NULL UNION ALL SELECT NULL, '', NULL";
    EXPECT_EQ(Rows(sql), "u\"" + std::string(999, 'x') + "\", \"\", \"\"\n\"\", \"\\x00\", \"\"\n");
    Run(sql);
    ASSERT_EQ(Code("Fetch", {statement}), 0);
    EXPECT_EQ(List("GetOneRow", {statement, ""}), "u\"" + std::string(999, 'x') + "\", \"\", \"\"");
}

TEST_F(WideRead, CountsWrittenCharacters)
{
    EXPECT_EQ(Rows("SELECT 'é', 'ééé', 'é€', 'aé'"), "u\"é\", u\"ééé\", u\"é€\", u\"aé\"\n");
    Run("SELECT 1 AS \"né\", 2 AS b");
    const Reply reply = Call("DescribeColumns", {statement});
    const auto columns = DecodeList(reply.List());
    EXPECT_EQ(ListText(columns.at(1).payload).substr(0, 8), "u\"né\", ");
    Run("SELECT 'éx', 'aé'");
    ASSERT_EQ(Code("Fetch", {statement}), 0);
    EXPECT_EQ(Utf8FromUnits(Call("GetDataW", {statement, 1, -8}).Bytes()), "éx");
    EXPECT_EQ(Utf8FromUnits(Call("GetDataExW", {statement, 2, -8, 100}).Bytes()), "aé");
}

// SQLite's driver 0.9998 wants the length announced: without it a first piece counts for nothing
// and a second is refused.
TEST_F(SqliteTest, DataAtExecutionThatIsNotAnnounced)
{
    Run("CREATE TABLE t(b BLOB)");
    ASSERT_EQ(Code("Prepare", {statement, "INSERT INTO t VALUES (?)"}), 0);
    ASSERT_EQ(Code("BindParameter", {statement, 1, 1, -2, -4, 10, 0, -100}), 0);
    ASSERT_EQ(Code("Execute", {statement}), 99);
    EXPECT_EQ(List("ParamData", {statement}), "99, 1");
    EXPECT_EQ(Code("PutData", {statement, "0123456789"}), 0);
    EXPECT_EQ(Code("PutData", {statement, "0123456789"}), -1);
    EXPECT_EQ(WasError(), -1);
}

}  // namespace

// The library over iODBC and SQLite: what comes back from a real driver, in every mode of text.
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <random>

#include "encoding/ZString.h"
#include "gateway_fixture.h"

namespace {

class SqliteTest : public GatewayTest {
protected:
    SqliteTest()
    {
        file = std::filesystem::temp_directory_path() /
               ("orvelgw-" + std::to_string(::getpid()) + ".db");
        connection = Call("DSNConnect", {"DRIVER={SQLite3};Database=" + file.string()}).Bytes();
        statement = Call("AllocStatement", {connection}).Bytes();
    }
    ~SqliteTest() override
    {
        EXPECT_EQ(Code("DropStatement", {statement}), 0);
        EXPECT_EQ(Code("Disconnect", {connection}), 0);
        std::filesystem::remove(file);
    }

    void Run(const std::string& sql)
    {
        ASSERT_EQ(Code("Prepare", {statement, sql}), 0) << sql;
        ASSERT_EQ(Code("Execute", {statement}), 0)
            << sql << List("GetSQLErrors", {connection, statement});
    }

    /// All rows of a query, a line each.
    std::string Rows(const std::string& sql, int most = 1000)
    {
        Run(sql);
        std::string text;
        const Reply reply = Call("FetchRows", {statement, most});
        EXPECT_EQ(WasError(), 0);
        for (const ListElement& row : DecodeList(reply.List())) {
            text += ListText(row.payload) + "\n";
        }
        EXPECT_EQ(Code("CloseCursor", {statement}), 0);
        return text;
    }

    std::filesystem::path file;
    std::string connection;
    std::string statement;
};

constexpr char kTexts[] =
    "SELECT 'Åland Islands', NULL, '', 9007199254740993, -0.5, 'a' "
    "UNION ALL SELECT NULL, '', NULL, NULL, NULL, 'Côte'";

TEST_F(SqliteTest, RowsInEveryMode)
{
    const std::string narrow =
        "\"Åland Islands\", \"\", \"\\x00\", \"9007199254740993\", \"-0.5\", \"a\"\n"
        "\"\", \"\\x00\", \"\", \"\", \"\", \"Côte\"\n";
    EXPECT_EQ(Rows(kTexts), narrow);
    Code("SetLegacyOption", {1});
    EXPECT_EQ(Rows(kTexts), narrow);
    Code("SetLegacyOption", {0});
    Code("SetUnicodeOption", {1});
    EXPECT_EQ(Rows(kTexts),
              "u\"Åland Islands\", \"\", \"\\x00\", u\"9007199254740993\", u\"-0.5\", u\"a\"\n"
              "\"\", \"\\x00\", \"\", \"\", \"\", u\"Côte\"\n");
}

// The driver manager's defects, each where it would show if nothing mended it.
class WideRead : public SqliteTest {
protected:
    WideRead() { Code("SetUnicodeOption", {1}); }
};

TEST_F(WideRead, NullIsTold)
{
    EXPECT_EQ(Rows("SELECT NULL, 'x', NULL"), "\"\", u\"x\", \"\"\n");
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
}

TEST_F(SqliteTest, CursorsColumnsAndCounts)
{
    Run("CREATE TABLE t(a INTEGER, b VARCHAR(30) NOT NULL, c DECIMAL(10,2))");
    Run("INSERT INTO t VALUES (1, 'one', 1.5), (2, 'two', NULL), (3, 'three', 2)");
    EXPECT_EQ(Code("RowCount", {statement}), 3);
    Run("SELECT a, b, c FROM t ORDER BY a");
    EXPECT_EQ(Code("NumResultCols", {statement}), 3);
    EXPECT_EQ(List("StrColAttribute", {statement, 2, 1011}), "\"b\"");
    EXPECT_EQ(List("NumColAttribute", {statement, 1, 2}), "4") << "SQL_INTEGER";
    ZString columns;
    columns.AppendLong(2);
    columns.AppendLong(1);
    EXPECT_EQ(Code("Fetch", {statement}), 0);
    EXPECT_EQ(List("GetOneRow", {statement, columns}), "\"one\", \"1\"");
    EXPECT_EQ(Code("Fetch", {statement}), 0);
    EXPECT_EQ(List("GetOneRow", {statement, ""}), "\"2\", \"two\", \"\"");
    EXPECT_EQ(Code("MoreResults", {statement}), 100);
    EXPECT_EQ(WasError(), -1);
}

TEST_F(SqliteTest, ErrorsAreTold)
{
    EXPECT_EQ(Code("Prepare", {statement, "SELECT * FROM nowhere"}), -1);
    EXPECT_EQ(WasError(), -1);
    EXPECT_EQ(List("GetSQLErrors", {connection, statement}),
              "\"  SQLState: (HY000) NativeError: [1] Message: no such table: nowhere (1)\\r\\n\"");
    EXPECT_EQ(Call("Connect", {"no-such-source", "u", "p"}).length, 0U);
    EXPECT_NE(List("GetSQLErrors", {"", ""}).find("(IM002)"), std::string::npos);
}

// Parameters: bound, set, executed, read back.
class Parameters : public SqliteTest {
protected:
    /// Runs a statement with one parameter of a SQL type.
    void RunWith(const std::string& sql, const ListValue& value, int sql_type)
    {
        ASSERT_EQ(Code("Prepare", {statement, sql}), 0);
        ASSERT_EQ(Code("BindParameter", {statement, 1, 1, 1, sql_type, 40, 0, 0}), 0);
        ASSERT_EQ(Code("SetParameter", {statement, EncodeList({value}), 1}), 0);
        ASSERT_EQ(Code("Execute", {statement}), 0);
    }
    /// Stores bytes in a table of one column by data at execution, their length announced.
    void Store(std::string_view bytes)
    {
        const int announced = -100 - static_cast<int>(bytes.size());
        ASSERT_EQ(Code("Prepare", {statement, "INSERT INTO t VALUES (?)"}), 0);
        ASSERT_EQ(Code("BindParameter", {statement, 1, 1, -2, -4, 10, 0, announced}), 0);
        ASSERT_EQ(Code("Execute", {statement}), 99);
        EXPECT_EQ(List("ParamData", {statement}).substr(0, 4), "99, ");
        constexpr std::size_t kPiece = 65'535;
        for (; !bytes.empty(); bytes.remove_prefix(std::min(bytes.size(), kPiece))) {
            ASSERT_EQ(Code("PutData", {statement, std::string(bytes.substr(0, kPiece))}), 0);
        }
        EXPECT_EQ(List("ParamData", {statement}).substr(0, 3), "0, ");
    }
    std::string Fetched()
    {
        std::string text =
            ListText(DecodeList(Call("FetchRows", {statement, 1}).List()).at(0).payload);
        EXPECT_EQ(Code("CloseCursor", {statement}), 0);
        return text;
    }
};

TEST_F(Parameters, ArriveAsTheyWereSet)
{
    struct Case {
        ListValue value;
        int sql_type;
        const char* row;
    };
    const Case cases[] = {
        {"Åland Ωmega 日本", 12, R"("Åland Ωmega 日本", "text")"},
        {"", 12, R"("", "null")"},
        {std::string(1, '\0'), 12, R"("\x00", "text")"},
        {u"ascii", 12, R"("ascii", "text")"},
        {-5, 4, R"("-5", "integer")"},
        {9'007'199'254'740'993, -5, R"("9007199254740993", "integer")"},
        {3'000'000'000, 4, R"("3000000000", "integer")"},
        {-0.25, 8, R"("-0.25", "real")"},
    };
    for (const Case& c : cases) {
        RunWith("SELECT v, typeof(v) FROM (SELECT ? AS v)", c.value, c.sql_type);
        EXPECT_EQ(Fetched(), c.row);
    }
}

// iODBC 3.52.9 makes a narrow driver's text of a wide parameter as many bytes long as it has
// characters.
TEST_F(Parameters, OfWideTextAreCutByTheDriverManager)
{
    RunWith("SELECT hex(?)", u"\u03A9b", 12);
    EXPECT_EQ(Fetched(), "\"CEA9\"") << "the b is lost";
}

TEST_F(Parameters, OfManyRowsAndRolledBack)
{
    Run("CREATE TABLE t(a INTEGER, b VARCHAR(10))");
    const auto insert = [&](int rows) {
        EXPECT_EQ(Code("Prepare", {statement, "INSERT INTO t VALUES (?, ?)"}), 0);
        EXPECT_EQ(
            Code("BindParameters", {statement, EncodeList({10, 10}), EncodeList({4, 12}),
                                    EncodeList({0, 0}), EncodeList({1, 1}), EncodeList({10, 10})}),
            0);
        for (int row = 0; row < rows; ++row) {
            EXPECT_EQ(Code("SetParameter", {statement, EncodeList({row}), 1}), 0);
            const auto text = row % 2 == 0 ? ListValue(std::string(600, 'x')) : ListValue();
            EXPECT_EQ(Code("SetParameter", {statement, EncodeList({text}), 2}), 0);
            EXPECT_EQ(Code("Execute", {statement}), 0);
        }
        EXPECT_EQ(Code("UnbindParameters", {statement}), 0);
    };
    constexpr int kAutocommit = 102;
    const std::string counts = "SELECT count(*), count(b), max(length(b)) FROM t";
    EXPECT_EQ(Code("SetConnectOption", {connection, kAutocommit, 0}), 0);
    insert(10);
    EXPECT_EQ(Code("Transact", {connection, 0}), 0);
    insert(5);
    EXPECT_EQ(Rows(counts), "\"15\", \"8\", \"600\"\n");
    EXPECT_EQ(Code("Transact", {"", 1}), 0) << "of every connection";
    EXPECT_EQ(Code("SetConnectOption", {connection, kAutocommit, 1}), 0);
    EXPECT_EQ(Rows(counts), "\"10\", \"5\", \"600\"\n");
}

// SQLite's driver 0.9998 wants the length announced: without it a first piece counts for nothing
// and a second is refused.
TEST_F(Parameters, OfDataAtExecutionThatIsNotAnnounced)
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

TEST_F(Parameters, OfMegabytesComeBackInPieces)
{
    constexpr std::size_t kSize = 5'000'000;
    std::string blob(kSize, '\0');
    std::ranges::generate(blob, [random = std::minstd_rand()]() mutable {
        return static_cast<char>(random() >> 8U);
    });
    Run("CREATE TABLE t(b BLOB)");
    Store(blob);
    struct Way {
        const char* entry;
        std::vector<Argument> rest;
    };
    for (const Way& way : {Way{"GetData", {1, -2}}, Way{"GetDataEx", {1, -2, 1'000'003}}}) {
        Run("SELECT b FROM t");
        ASSERT_EQ(Code("Fetch", {statement}), 0);
        std::string all;
        do {
            all += CallOn(statement, way.entry, way.rest).Bytes();
        } while (Code("GetLastSQLCode") == 1);
        EXPECT_TRUE(all == blob) << way.entry << all.size();
        CallOn(statement, way.entry, way.rest);
        EXPECT_EQ(Code("GetLastSQLCode"), 100) << "nothing is left";
        EXPECT_EQ(Code("CloseCursor", {statement}), 0);
    }
}

TEST_F(SqliteTest, LongTextAndNull)
{
    Run("SELECT NULL, 'é', printf('%.*c', 70000, 'é')");
    ASSERT_EQ(Code("Fetch", {statement}), 0);
    EXPECT_EQ(Call("GetDataW", {statement, 1, -8}).length, 0U) << "NULL";
    EXPECT_EQ(Utf8FromUnits(Call("GetDataExW", {statement, 2, -8, 100}).Bytes()), "é");
    std::string text;
    do {  // narrow pieces lose nothing, where wide ones cut a character in two
        text += Call("GetData", {statement, 3, 1}).Bytes();
    } while (Code("GetLastSQLCode") == 1);
    EXPECT_EQ(text.size(), 140'000U);
    EXPECT_EQ(text.substr(32'764, 4), "éé");
}

TEST_F(SqliteTest, CatalogsAndInformation)
{
    Run("CREATE TABLE parent(id INTEGER PRIMARY KEY, name VARCHAR(30) NOT NULL)");
    Run("CREATE TABLE child(id INTEGER, parent INTEGER REFERENCES parent(id), \"é\" TEXT)");
    Run("CREATE UNIQUE INDEX child_id ON child(id)");
    // The entry's inputs behind the statement, and how many rows it brings with what in them.
    struct Case {
        const char* entry;
        std::vector<Argument> rest;
        std::size_t rows;
        const char* holds;
    };
    const Case cases[] = {
        {"Tables", {"", "", "%", "TABLE"}, 2, "\"parent\""},
        {"TablesW", {u"", u"", u"ch%", u""}, 1, "\"child\""},
        {"Columns", {"", "", "parent", ""}, 2, "\"INTEGER\""},
        {"ColumnsW", {u"", u"", u"child", u"p%"}, 1, "\"parent\""},
        {"PrimaryKeys", {"", "", "parent"}, 1, "\"id\""},
        {"ForeignKeys", {"", "", "", "", "", "child"}, 1, "\"parent\""},
        {"Statistics", {"", "", "child", 0}, 1, "\"child_id\""},
        {"SpecialColumns", {1, "", "", "parent", 0, 1}, 1, "\"_ROWID_\""},
        {"GetTypeInfo", {4}, 1, "\"integer\""},
    };
    for (const Case& c : cases) {
        ASSERT_EQ(CallOn(statement, c.entry, c.rest).code, 0) << c.entry;
        const Reply reply = Call("FetchRows", {statement, 100});
        const auto rows = DecodeList(reply.List());
        EXPECT_EQ(rows.size(), c.rows) << c.entry;
        EXPECT_NE(ListText(rows.at(0).payload).find(c.holds), std::string::npos)
            << c.entry << ListText(rows.at(0).payload);
        EXPECT_EQ(Code("CloseCursor", {statement}), 0);
    }
    EXPECT_EQ(List("GetInfo", {connection, 17}), "\"SQLite\"");
    EXPECT_EQ(Call("GetInfo", {connection, 23}).List().substr(0, 2), std::string("\x04\x01"))
        << "two bytes of a number";
    EXPECT_EQ(Code("Prepare", {statement, "INSERT INTO parent VALUES (?, ?)"}), 0);
    const Reply markers = Call("DescribeParameters", {statement});
    EXPECT_EQ(DecodeList(markers.List()).size(), 3U);
}

}  // namespace

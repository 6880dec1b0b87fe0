// Statements of every kind: what they change, return and refuse, and in which transaction.
#include "sources/source_fixture.h"

namespace {

class Statements : public ConnectedTest {
protected:
    /// A row of the open cursor.
    std::string Row() const
    {
        const Reply reply = Call("FetchRows", {statement, 9});
        const auto rows = DecodeList(reply.List());
        return rows.empty() ? "no row" : ListText(rows[0].payload);
    }

    void Set(const ListValue& value, int number) const
    {
        ASSERT_EQ(Code("SetParameter", {statement, EncodeList({value}), number}), 0) << Errors();
    }
};

TEST_P(Statements, CountTheRowsTheyChange)
{
    Make("t", "a INTEGER PRIMARY KEY, b INTEGER");
    for (const char* values : {"(1, 0)", "(2, 0)", "(3, 0)"}) {
        Run(std::string("INSERT INTO t VALUES ") + values);
        EXPECT_EQ(Code("RowCount", {statement}), 1);
    }
    Run("UPDATE t SET b = 5 WHERE a > 1");
    EXPECT_EQ(Code("RowCount", {statement}), 2);
    Run("DELETE FROM t");
    EXPECT_EQ(Code("RowCount", {statement}), 3);
}

TEST_P(Statements, DescribeTheirColumns)
{
    Make("t", "a INTEGER NOT NULL, b " + GetParam().types.text + ", c DECIMAL(20,6)");
    Run("SELECT a, b, c FROM t");
    EXPECT_EQ(Code("NumResultCols", {statement}), 3);
    const Reply reply = Call("DescribeColumns", {statement});
    const auto columns = DecodeList(reply.List());
    ASSERT_EQ(columns.size(), 4U);
    const char* expected[] = {"3, \"SqlType\", ", "\"a\", 4, 10, 0, ", "\"b\", 12, 100, 0, ",
                              "\"c\", 3, 20, 6, "};
    for (std::size_t i = 0; i < columns.size(); ++i) {
        const std::string text = ListText(columns[i].payload);
        const std::string start = Expected(std::string("column ") + expected[i][1], expected[i]);
        EXPECT_EQ(text.substr(0, start.size()), start) << text;
    }
}

TEST_P(Statements, ReturnSeveralResults)
{
    if (Lacks("several results")) {
        GTEST_SKIP();
    }
    if (!GetParam().dialect.two_results.empty()) {
        Run(GetParam().dialect.two_results);
    }
    Run(GetParam().dialect.call_two_results);
    EXPECT_EQ(Row(), "\"1\"");
    EXPECT_EQ(Code("MoreResults", {statement}), 0) << Errors();
    EXPECT_EQ(Row(), "\"two\"");
    int code = 0;
    while (code == 0) {  // a procedure's own result may follow
        code = Code("MoreResults", {statement});
    }
    EXPECT_EQ(code, 100);
}

TEST_P(Statements, RunAgainWithOtherParameters)
{
    Make("t", "a INTEGER PRIMARY KEY, b " + GetParam().types.text + ", c DOUBLE PRECISION");
    ASSERT_EQ(Code("Prepare", {statement, "INSERT INTO t VALUES (?, ?, ?)"}), 0);
    const Reply markers = Call("DescribeParameters", {statement});
    EXPECT_EQ(DecodeList(markers.List()).size(), 4U) << "their number, and each";
    ASSERT_EQ(Code("BindParameters",
                   {statement, EncodeList({10, 10, 10}), EncodeList({4, 12, 8}),
                    EncodeList({0, 0, 0}), EncodeList({1, 1, 1}), EncodeList({10, 700, 15})}),
              0);
    std::string text;
    for (int row = 1; row <= 5; ++row) {
        text += "of twenty characters";
        Set(row, 1);
        Set(row % 2 == 0 ? ListValue() : ListValue(text), 2);
        Set(row / 4.0, 3);
        ASSERT_EQ(Code("Execute", {statement}), 0) << Errors();
    }
    EXPECT_EQ(Code("UnbindParameters", {statement}), 0);
    EXPECT_EQ(Rows("SELECT count(*), max(length(b)), sum(a) FROM t WHERE c < 1.3"),
              "\"5\", \"100\", \"15\"\n");
    EXPECT_EQ(Rows("SELECT a, b, c FROM t WHERE a = 2"), "\"2\", \"\", \"0.5\"\n");
}

TEST_P(Statements, ReturnOutputParameters)
{
    if (Lacks("procedures")) {
        GTEST_SKIP();
    }
    Run(GetParam().dialect.procedure);
    ASSERT_EQ(Code("Prepare", {statement, "{call twice(?, ?, ?)}"}), 0) << Errors();
    constexpr int kInput = 1;
    constexpr int kInputOutput = 2;
    constexpr int kOutput = 4;
    ASSERT_EQ(
        Code("BindParameters",
             {statement, EncodeList({10, 10, 10}), EncodeList({4, 4, 4}), EncodeList({0, 0, 0}),
              EncodeList({kInput, kOutput, kInputOutput}), EncodeList({10, 10, 10})}),
        0);
    for (const int a : {21, -5}) {
        Set(a, 1);
        Set(100, 3);
        const int code = Code("Execute", {statement});
        ASSERT_TRUE(code == 0 || code == 100) << code << Errors();
        while (Code("MoreResults", {statement}) == 0) {  // drivers set outputs with the last result
        }
        EXPECT_EQ(List("GetParameter", {statement, 1}), std::to_string(a));
        EXPECT_EQ(List("GetParameter", {statement, 2}), "\"" + std::to_string(2 * a) + "\"");
        EXPECT_EQ(List("GetParameter", {statement, 3}), std::to_string(100 + a));
        Code("CloseCursor", {statement});
    }
}

TEST_P(Statements, TakeDataAtExecutionForSeveralParameters)
{
    const std::string& type = GetParam().types.long_text;
    Make("t", "a INTEGER, b " + type + ", c " + type);
    ASSERT_EQ(Code("Prepare", {statement, "INSERT INTO t VALUES (?, ?, ?)"}), 0);
    ASSERT_EQ(Code("BindParameter", {statement, 1, 1, 1, 4, 10, 0, 10}), 0);
    Set(7, 1);
    const std::pair<int, std::string> values[] = {{2, "the second"}, {3, "3rd"}};
    const int announced = WantsLengths() ? 1 : 0;
    for (const auto& [number, value] : values) {
        const int size = static_cast<int>(value.size());
        const int length = -100 - announced * size;
        ASSERT_EQ(Code("BindParameter", {statement, number, 1, 1, -1, size, 0, length}), 0);
    }
    ASSERT_EQ(Code("Execute", {statement}), 99) << Errors();
    for (const auto& [number, value] : values) {
        const std::string asked = List("ParamData", {statement});
        EXPECT_EQ(asked.substr(0, 4), "99, ") << Errors();
        if (announced == 0) {  // else the token is an address
            EXPECT_EQ(asked, "99, " + std::to_string(number));
        }
        ASSERT_EQ(Code("PutData", {statement, value}), 0) << Errors();
    }
    EXPECT_EQ(List("ParamData", {statement}).substr(0, 3), "0, ") << Errors();
    EXPECT_EQ(Rows("SELECT a, b, c FROM t"), "\"7\", \"the second\", \"3rd\"\n");
}

// libsqlite3odbc.so 0.9998 ignores a first piece and refuses a second.
TEST_P(Statements, TakeDataAtExecutionThatIsNotAnnounced)
{
    if (!WantsLengths()) {
        return;
    }
    Make("t", "b " + GetParam().types.long_binary);
    ASSERT_EQ(Code("Prepare", {statement, "INSERT INTO t VALUES (?)"}), 0);
    ASSERT_EQ(Code("BindParameter", {statement, 1, 1, -2, -4, 10, 0, -100}), 0);
    ASSERT_EQ(Code("Execute", {statement}), 99);
    EXPECT_EQ(List("ParamData", {statement}), "99, 1");
    EXPECT_EQ(Code("PutData", {statement, "0123456789"}), 0);
    EXPECT_EQ(Code("PutData", {statement, "0123456789"}), -1);
}

TEST_P(Statements, AreRefusedWithEveryRecord)
{
    Make("t", "a INTEGER PRIMARY KEY, b INTEGER");
    Run("INSERT INTO t VALUES (1, 1)");
    ASSERT_EQ(Code("Prepare", {statement, "INSERT INTO t VALUES (1, 2)"}), 0);
    EXPECT_EQ(Codes("Execute", {statement}), Pair(-1, -1));
    const std::string errors = Errors();
    const std::string form = "  SQLState: (";
    EXPECT_EQ(errors.find(form), errors.rfind(form)) << "one record: " << errors;
    for (const std::string& part : GetParam().dialect.duplicate) {
        EXPECT_NE(errors.find(part), std::string::npos) << errors;
    }
    EXPECT_EQ(Rows("SELECT b FROM t"), "\"1\"\n");
}

// psqlodbca.so 13.02 splits a long message into records.
TEST_P(Statements, AreRefusedWithSeveralRecords)
{
    if (Lacks("long messages in records")) {
        GTEST_SKIP();
    }
    Make("t", "a VARCHAR(900) PRIMARY KEY");
    const std::string insert = "INSERT INTO t VALUES ('" + std::string(900, 'x') + "')";
    Run(insert);
    ASSERT_EQ(Code("Prepare", {statement, insert}), 0);
    EXPECT_EQ(Code("Execute", {statement}), -1);
    const Reply errors = Call("GetSQLErrors", {connection, statement});
    EXPECT_EQ(DecodeList(errors.List()).size(), 3U);
}

INSTANTIATE_TEST_SUITE_P(Sources, Statements, testing::ValuesIn(Sources()), SourceTest::NameOf);

class Transactions : public ConnectedTest {
protected:
    Transactions()
        : observer(Connected()), its_statement(Call("AllocStatement", {observer}).Bytes())
    {
        Make("t", "a INTEGER");
        SetAutocommit(0);
    }
    ~Transactions() override
    {
        EXPECT_EQ(Code("Transact", {"", kRollback}), 0);
        SetAutocommit(1);
        EXPECT_EQ(Code("DropStatement", {its_statement}), 0);
        EXPECT_EQ(Code("Disconnect", {observer}), 0);
    }

    void SetAutocommit(int on) const
    {
        constexpr int kAutocommit = 102;
        EXPECT_EQ(Code("SetConnectOption", {connection, kAutocommit, on}), 0) << Errors();
    }

    /// How many rows the second connection sees.
    std::string Seen() const
    {
        EXPECT_EQ(Code("Prepare", {its_statement, "SELECT count(*) FROM t"}), 0);
        EXPECT_EQ(Code("Execute", {its_statement}), 0)
            << List("GetSQLErrors", {observer, its_statement});
        const Reply reply = Call("FetchRows", {its_statement, 1});
        std::string count = ListText(DecodeList(reply.List()).at(0).payload);
        EXPECT_EQ(Code("CloseCursor", {its_statement}), 0);
        return count;
    }

    static constexpr int kCommit = 0;
    static constexpr int kRollback = 1;

    std::string observer;
    std::string its_statement;
};

TEST_P(Transactions, AreSeenWhenTheyAreCommitted)
{
    for (const std::string& of : {connection, std::string()}) {  // of one, of all
        Run("DELETE FROM t");
        EXPECT_EQ(Code("Transact", {of, kCommit}), 0) << Errors();
        Run("INSERT INTO t VALUES (1)");
        EXPECT_EQ(Seen(), "\"0\"");
        EXPECT_EQ(Code("Transact", {of, kRollback}), 0) << Errors();
        EXPECT_EQ(Seen(), "\"0\"");
        Run("INSERT INTO t VALUES (2)");
        EXPECT_EQ(Code("Transact", {of, kCommit}), 0) << Errors();
        EXPECT_EQ(Seen(), "\"1\"");
    }
}

INSTANTIATE_TEST_SUITE_P(Sources, Transactions, testing::ValuesIn(Sources()), SourceTest::NameOf);

}  // namespace

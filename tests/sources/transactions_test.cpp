// Transactions of one connection and of all, as a second connection sees them.
#include "sources/source_fixture.h"

namespace {

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

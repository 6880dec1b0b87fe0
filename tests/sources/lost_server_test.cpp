// A server that is killed between two fetches.
#include <csignal>

#include "sources/Server.h"
#include "sources/source_fixture.h"

namespace {

extern "C" void Ignore(int /*signal*/)
{}

class LostServer : public SourceTest {
protected:
    ~LostServer() override { std::signal(SIGPIPE, SIG_DFL); }

    /// As a host that leaves SIGPIPE to the system, ignores or handles it, in turn.
    std::string Connect(int round) const
    {
        static void (*const dispositions[])(int) = {SIG_DFL, SIG_IGN, Ignore};
        std::signal(SIGPIPE, dispositions[round % 3]);
        return std::string(Call("DSNConnect", {GetParam().ConnectionString() +
                                               GetParam().dialect.reading_row_by_row})
                               .Bytes());
    }
};

TEST_P(LostServer, IsAnErrorAndNoMore)
{
    if (Lacks("a server")) {
        GTEST_SKIP();
    }
    std::string connection = Connect(0);
    for (int round = 0; round < 30; ++round) {
        ASSERT_EQ(connection.size(), 8U) << List("GetSQLErrors", {"", ""});
        const std::string statement(Call("AllocStatement", {connection}).Bytes());
        if (!GetParam().dialect.keeping.empty()) {
            ASSERT_EQ(Code("Prepare", {statement, GetParam().dialect.keeping}), 0);
            ASSERT_EQ(Code("Execute", {statement}), 0);
        }
        ASSERT_EQ(Code("Prepare", {statement, GetParam().dialect.many_rows}), 0);
        ASSERT_EQ(Code("Execute", {statement}), 0);
        EXPECT_EQ(DecodeList(Call("FetchRows", {statement, 10}).List()).size(), 10U);
        ASSERT_TRUE(KillServer(GetParam()));
        int fetched = 10;
        for (int rows = fetched; rows > 0 && WasError() == 0; fetched += rows) {
            const Reply reply = Call("FetchRows", {statement, 1000});
            rows = static_cast<int>(DecodeList(reply.List()).size());
        }
        if (!GetParam().dialect.reads_ahead) {
            EXPECT_LT(fetched, 100'000);
            EXPECT_EQ(WasError(), -1);
        } else {
            EXPECT_EQ(fetched, 100'000) << "of which the driver has all ahead";
            EXPECT_EQ(Code("CloseCursor", {statement}), 0);
            EXPECT_EQ(Code("Execute", {statement}), -1);
        }
        EXPECT_NE(List("GetSQLErrors", {connection, statement}).find("SQLState"),
                  std::string::npos);
        Code("DropStatement", {statement});
        Code("Disconnect", {connection});
        connection = RestartedServer(GetParam(), [&] { return Connect(round + 1); });
    }
    EXPECT_EQ(Code("Disconnect", {connection}), 0);
}

INSTANTIATE_TEST_SUITE_P(Sources, LostServer, testing::ValuesIn(Sources()), SourceTest::NameOf);

}  // namespace

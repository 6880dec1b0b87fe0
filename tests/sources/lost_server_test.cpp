// A server that is killed between two fetches.
#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <fstream>
#include <thread>

#include "sources/source_fixture.h"

namespace {

class LostServer : public SourceTest {
protected:
    static pid_t Pid()
    {
        pid_t pid = 0;
        std::ifstream(GetParam().ServerFile("pid")) >> pid;
        return pid;
    }

    /// Kills the server with all of its processes and waits until they are gone.
    static void Kill()
    {
        const pid_t pid = Pid();
        ASSERT_GT(pid, 1);
        ASSERT_EQ(::kill(-pid, SIGKILL), 0);
        for (int tries = 0; ::kill(-pid, 0) == 0 && tries < 1000; ++tries) {
            ::waitpid(pid, nullptr, WNOHANG);
            std::this_thread::sleep_for(std::chrono::milliseconds(10));
        }
    }

    /// Starts it again and waits until it takes a connection, whose handle it returns.
    std::string Restarted() const
    {
        const std::string start = GetParam().ServerFile("start");
        if (::fork() == 0) {
            ::setsid();
            ::execl(start.c_str(), start.c_str(), nullptr);
            ::_exit(127);
        }
        std::string handle;
        for (int tries = 0; handle.empty() && tries < 300; ++tries) {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            handle = Connect();
        }
        EXPECT_EQ(handle.size(), 8U) << List("GetSQLErrors", {"", ""});
        return handle;
    }

    std::string Connect() const
    {
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
    std::string connection = Connect();
    for (int round = 0; round < 20; ++round) {
        ASSERT_EQ(connection.size(), 8U) << List("GetSQLErrors", {"", ""});
        const std::string statement(Call("AllocStatement", {connection}).Bytes());
        if (!GetParam().dialect.keeping.empty()) {
            ASSERT_EQ(Code("Prepare", {statement, GetParam().dialect.keeping}), 0);
            ASSERT_EQ(Code("Execute", {statement}), 0);
        }
        ASSERT_EQ(Code("Prepare", {statement, GetParam().dialect.many_rows}), 0);
        ASSERT_EQ(Code("Execute", {statement}), 0);
        EXPECT_EQ(DecodeList(Call("FetchRows", {statement, 10}).List()).size(), 10U);
        Kill();
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
        connection = Restarted();
    }
    EXPECT_EQ(Code("Disconnect", {connection}), 0);
}

INSTANTIATE_TEST_SUITE_P(Sources, LostServer, testing::ValuesIn(Sources()), SourceTest::NameOf);

}  // namespace

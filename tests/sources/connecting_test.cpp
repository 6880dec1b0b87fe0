// Connecting to every source, being refused, and losing a server between two fetches.
#include <algorithm>
#include <chrono>
#include <csignal>
#include <filesystem>

#include "LocalPort.h"
#include "sources/Server.h"
#include "sources/source_fixture.h"

namespace {

std::ptrdiff_t OpenFiles()
{
    return std::ranges::distance(std::filesystem::directory_iterator("/proc/self/fd"));
}

class Connecting : public SourceTest {
protected:
    /// Is refused several times, each time in the same way; then nothing of it is left.
    void ExpectRefusals(const std::string& entry, const std::vector<Argument>& inputs,
                        const std::string& why, int times = 10) const
    {
        std::ptrdiff_t files = 0;
        for (int i = 0; i < times; ++i) {
            EXPECT_EQ(Call(entry, inputs).length, 0U);
            EXPECT_EQ(WasError(), -1);
            const std::string line = List("GetSQLErrors", {"", ""});
            EXPECT_NE(line.find(why), std::string::npos) << line;
            EXPECT_EQ(List("GetSQLErrors", {"", ""}), "\"\"") << "told once";
            files = i == 0 ? OpenFiles() : files;
        }
        EXPECT_EQ(OpenFiles(), files);
    }
};

TEST_P(Connecting, ByName)
{
    if (Lacks("a name")) {
        GTEST_SKIP();
    }
    const std::string& name = GetParam().name;
    const std::string& user = GetParam().user;
    const std::string password = GetParam().Password();
    std::string string = name;
    string.append(";UID=").append(user).append(";PWD=").append(password);
    const std::pair<const char*, std::vector<Argument>> ways[] = {
        {"Connect", {name, user, password}},
        {"ConnectWithTimeout", {name, user, password, 5}},
        {"DSNConnect", {string}},
        {"DSNConnect", {name}},
    };
    for (const auto& [entry, inputs] : ways) {
        const std::string handle(Call(entry, inputs).Bytes());
        ASSERT_EQ(handle.size(), 8U) << entry << List("GetSQLErrors", {"", ""});
        EXPECT_EQ(Code("Disconnect", {handle}), 0);
    }
    std::string sources;
    for (Reply reply = Call("DataSources", {2}); reply.length > 0;
         reply = Call("DataSources", {1})) {
        sources += ListText(reply.List()) + "\n";
    }
    EXPECT_NE(sources.find("\"" + name + "\", "), std::string::npos) << sources;
}

TEST_P(Connecting, WithAWrongPassword)
{
    if (Lacks("users")) {
        GTEST_SKIP();
    }
    // What other users of this machine would try first; Virtuoso 7.2.5 stops answering after a few.
    const std::string why = Expected("bad login", GetParam().bad_login);
    ExpectRefusals("DSNConnect", {GetParam().ConnectionString(0, "secret")}, why, 1);
    if (!Lacks("a name")) {
        ExpectRefusals("Connect", {GetParam().name, GetParam().user, "dba"}, why, 1);
        EXPECT_EQ(Call("Connect", {GetParam().name, "root", ""}).length, 0U);
    }
    EXPECT_EQ(Code("Disconnect", {Connected()}), 0);
}

TEST_P(Connecting, ToAServerThatIsDown)
{
    if (Lacks("a server")) {
        GTEST_SKIP();
    }
    const LocalPort closed(LocalPort::kNobody);
    ExpectRefusals("DSNConnect", {GetParam().ConnectionString(closed.number)},
                   GetParam().no_server);
    EXPECT_EQ(Code("Disconnect", {Connected()}), 0);
}

TEST_P(Connecting, ToASilentListener)
{
    if (Lacks("a server") || Lacks("login timeout")) {
        GTEST_SKIP();
    }
    const LocalPort silent(LocalPort::kSilent);
    const auto start = std::chrono::steady_clock::now();
    ExpectRefusals("DSNConnectWithTimeout", {GetParam().ConnectionString(silent.number), 2},
                   "timeout expired", 1);
    const auto waited = std::chrono::steady_clock::now() - start;
    EXPECT_GE(waited, std::chrono::milliseconds(1500));
    EXPECT_LE(waited, std::chrono::seconds(10));
}

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

INSTANTIATE_TEST_SUITE_P(Sources, Connecting, testing::ValuesIn(Sources()), SourceTest::NameOf);
INSTANTIATE_TEST_SUITE_P(Sources, LostServer, testing::ValuesIn(Sources()), SourceTest::NameOf);

}  // namespace

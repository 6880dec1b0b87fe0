// Connecting to every source, and being refused.
#include <algorithm>
#include <chrono>
#include <filesystem>

#include "LocalPort.h"
#include "sources/source_fixture.h"

namespace {

std::ptrdiff_t OpenFiles()
{
    return std::ranges::distance(std::filesystem::directory_iterator("/proc/self/fd"));
}

class Connecting : public SourceTest {
protected:
    /// Is refused some times, and each time in the same way; then nothing is left of it.
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
    if (!Lacks("a name")) {
        ExpectRefusals("Connect", {GetParam().name, GetParam().user, "dba"}, why, 1);
        EXPECT_EQ(Call("Connect", {GetParam().name, "root", ""}).length, 0U);
    }
    ExpectRefusals("DSNConnect", {GetParam().ConnectionString(0, "secret")}, why, 1);
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

INSTANTIATE_TEST_SUITE_P(Sources, Connecting, testing::ValuesIn(Sources()), SourceTest::NameOf);

}  // namespace

// Connecting to every source, and being refused.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <iostream>

#include "sources/source_fixture.h"

namespace {

/// A port of loopback where nobody answers: either nobody listens, or somebody says nothing.
class DeadPort {
public:
    explicit DeadPort(bool listens) : socket_(::socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* any = reinterpret_cast<sockaddr*>(&address);
        EXPECT_EQ(::bind(socket_, any, size), 0);
        EXPECT_EQ(listens ? ::listen(socket_, 100) : 0, 0);
        EXPECT_EQ(::getsockname(socket_, any, &size), 0);
        number = ntohs(address.sin_port);
    }
    ~DeadPort() { ::close(socket_); }
    DeadPort(const DeadPort&) = delete;
    DeadPort& operator=(const DeadPort&) = delete;

    int number = 0;

private:
    int socket_;
};

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
            std::cout << line << "\n";
            EXPECT_EQ(List("GetSQLErrors", {"", ""}), "\"\"") << "told once";
            files = i == 0 ? OpenFiles() : files;
        }
        EXPECT_EQ(OpenFiles(), files);
    }
};

TEST_P(Connecting, ByName)
{
    const auto& [name, user, password] =
        std::tie(GetParam().name, GetParam().user, GetParam().password);
    for (const std::string& handle :
         {std::string(Call("Connect", {name, user, password}).Bytes()),
          std::string(Call("ConnectWithTimeout", {name, user, password, 5}).Bytes()),
          std::string(
              Call("DSNConnect", {name + ";UID=" + user + ";PWD=" + password}).Bytes())}) {
        ASSERT_EQ(handle.size(), 8U) << List("GetSQLErrors", {"", ""});
        EXPECT_EQ(Code("Disconnect", {handle}), 0);
    }
    std::string sources;
    for (Reply reply = Call("DataSources", {2}); reply.length > 0; reply = Call("DataSources", {1})) {
        sources += ListText(reply.List()) + "\n";
    }
    std::cout << sources;
    EXPECT_NE(sources.find("\"" + name + "\", "), std::string::npos) << sources;
}

TEST_P(Connecting, WithAWrongPassword)
{
    if (Lacks("users")) {
        GTEST_SKIP();
    }
    ExpectRefusals("Connect", {GetParam().name, GetParam().user, "wrong"}, "SQLState", 2);
    ExpectRefusals("DSNConnect", {GetParam().ConnectionString(0, "wrong")}, "SQLState", 1);
    EXPECT_EQ(Code("Disconnect", {Connected()}), 0);
}

TEST_P(Connecting, ToAServerThatIsDown)
{
    if (Lacks("a server")) {
        GTEST_SKIP();
    }
    const DeadPort closed(false);
    ExpectRefusals("DSNConnect", {GetParam().ConnectionString(closed.number)}, "SQLState");
    EXPECT_EQ(Code("Disconnect", {Connected()}), 0);
}

TEST_P(Connecting, ToASilentListener)
{
    if (Lacks("a server") || Lacks("login timeout")) {
        GTEST_SKIP();
    }
    const DeadPort silent(true);
    const auto start = std::chrono::steady_clock::now();
    ExpectRefusals("DSNConnectWithTimeout", {GetParam().ConnectionString(silent.number), 2},
                   "SQLState", 1);
    const auto waited = std::chrono::steady_clock::now() - start;
    std::cout << std::chrono::duration_cast<std::chrono::milliseconds>(waited).count() << " ms\n";
    EXPECT_GE(waited, std::chrono::milliseconds(1500));
    EXPECT_LE(waited, std::chrono::seconds(10));
}

INSTANTIATE_TEST_SUITE_P(Sources, Connecting, testing::ValuesIn(Sources()),
                         SourceTest::NameOf);

}  // namespace

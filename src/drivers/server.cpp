#include "drivers/server.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <memory>
#include <span>
#include <system_error>

namespace {

constexpr int kPatience = 3000;  // milliseconds

/// What a driver file's name tells of the product behind it.
struct Product {
    const char* file_part;                      // of the file's name
    const char* port;                           // where its server listens unless told otherwise
    std::span<const char* const> server_keys;   // by which a string tells it the server
    std::span<const char* const> section_keys;  // by which a data source does
    bool reads_port;                            // by the key Port; else the server's text has it
};

constexpr const char* kServerOrName[] = {"Servername", "Server"};
constexpr const char* kServername[] = {"Servername"};
constexpr const char* kServer[] = {"Server"};
constexpr const char* kHost[] = {"Host"};
constexpr const char* kAddress[] = {"Address"};
constexpr const char* kAny[] = {"Server", "Servername", "Host"};
constexpr const char* kPort[] = {"Port"};

// Servername of tdsodbc is a name in a configuration of its own.
constexpr Product kProducts[] = {
    {"psqlodbc", "5432", kServerOrName, kServername, true},
    {"maodbc", "3306", kServerOrName, kServerOrName, true},
    {"myodbc", "3306", kServerOrName, kServerOrName, true},
    {"tdsodbc", "1433", kServer, kServer, true},
    {"virtodbc", "1111", kHost, kAddress, false},
};

constexpr Product kUnknownProduct{"", "", kAny, kAny, true};

const Product& ProductOf(const std::string& driver_file)
{
    const std::string name = std::filesystem::path(driver_file).filename();
    const auto* const found = std::ranges::find_if(kProducts, [&](const Product& product) {
        return name.find(product.file_part) != std::string::npos;
    });
    return found == std::end(kProducts) ? kUnknownProduct : *found;
}

// The outcome of an address, by the error of connect.
Reach OfError(int error)
{
    Reach reach;
    reach.reason = std::generic_category().message(error);
    if (error == 0) {
        reach.outcome = Reach::kListens;
    } else if (error == ECONNREFUSED) {
        reach.outcome = Reach::kNobodyListens;
    } else if (error == ETIMEDOUT) {
        reach.outcome = Reach::kSilent;
    } else {
        reach.outcome = Reach::kUnreachable;
    }
    return reach;
}

int ErrorOfConnect(const addrinfo& address)
{
    const int descriptor =
        ::socket(address.ai_family, address.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    if (descriptor < 0) {
        return errno;
    }
    int error = ::connect(descriptor, address.ai_addr, address.ai_addrlen) == 0 ? 0 : errno;
    if (error == EINPROGRESS) {
        pollfd wanted{descriptor, POLLOUT, 0};
        socklen_t size = sizeof error;
        if (::poll(&wanted, 1, kPatience) <= 0) {
            error = ETIMEDOUT;
        } else if (::getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) != 0) {
            error = errno;
        }
    }
    ::close(descriptor);
    return error;
}

bool IsVersion6(const std::string& host)
{
    in6_addr address{};
    return ::inet_pton(AF_INET6, host.c_str(), &address) == 1;
}

bool IsPort(const std::string& text)
{
    std::uint16_t number = 0;
    const auto* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, number);
    return error == std::errc() && rest == end && number != 0;
}

}  // namespace

// A host comes as "host", "host:port" or "host,port". What else there is (a socket's file, several
// hosts, an instance's name) says nothing of a port.
std::optional<Server> ServerOf(const DataSource& source)
{
    const Product& product = ProductOf(source.DriverFile());
    Server server{source.Value(product.server_keys, product.section_keys),
                  product.reads_port ? source.Value(kPort, kPort) : ""};
    const auto mark = server.host.find_last_of(":,");
    if (mark != std::string::npos && !IsVersion6(server.host)) {
        server.port = server.host.substr(mark + 1);
        server.host.resize(mark);
    }
    if (server.port.empty()) {
        server.port = product.port;
    }
    const bool is_plain = server.host.find_first_of("/\\,[") == std::string::npos &&
                          (server.host.find(':') == std::string::npos || IsVersion6(server.host));
    return !server.host.empty() && is_plain && IsPort(server.port) ? std::optional(server)
                                                                   : std::nullopt;
}

Reach TryToReach(const Server& server)
{
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int error = ::getaddrinfo(server.host.c_str(), server.port.c_str(), &hints, &found);
    if (error != 0) {
        return {error == EAI_AGAIN ? Reach::kUnresolved : Reach::kUnknownHost,
                ::gai_strerror(error)};
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> addresses(found, &::freeaddrinfo);
    Reach reach;
    for (const addrinfo* address = found; address != nullptr; address = address->ai_next) {
        reach = OfError(ErrorOfConnect(*address));
        if (reach.outcome == Reach::kListens) {
            break;
        }
    }
    return reach;
}

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

/// What the name of a driver file says about the driver.
struct Product {
    const char* file_part;                      // of the file's name
    const char* port;                           // the server's default
    std::span<const char* const> server_keys;   // that name the server in a connection string
    std::span<const char* const> section_keys;  // and in a data source
    bool reads_port;                            // from the key Port; else from the server's value
};

constexpr const char* kServerOrName[] = {"Servername", "Server"};
constexpr const char* kServername[] = {"Servername"};
constexpr const char* kServer[] = {"Server"};
constexpr const char* kHost[] = {"Host"};
constexpr const char* kAddress[] = {"Address"};
constexpr const char* kAny[] = {"Server", "Servername", "Host"};
constexpr const char* kPort[] = {"Port"};

// To tdsodbc a Servername is an entry in its own configuration.
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

ServerProbe ProbeOf(int error)
{
    using enum ServerProbe::Outcome;
    const auto outcome = error == 0              ? kListening
                         : error == ECONNREFUSED ? kRefused
                         : error == ETIMEDOUT    ? kNoAnswer
                                                 : kUnreachable;
    return {outcome, std::generic_category().message(error)};
}

int ErrorOfConnect(const addrinfo& address, std::chrono::milliseconds patience)
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
        if (::poll(&wanted, 1, static_cast<int>(patience.count())) <= 0) {
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

// A host is given as "host", "host:port" or "host,port". Other values (a socket file, several
// hosts, an instance name) name no port.
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

ServerProbe ProbeServer(const Server& server, std::chrono::milliseconds patience)
{
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int error = ::getaddrinfo(server.host.c_str(), server.port.c_str(), &hints, &found);
    if (error != 0) {
        return {error == EAI_AGAIN ? ServerProbe::kLookupFailed : ServerProbe::kUnknownHost,
                ::gai_strerror(error)};
    }
    const std::unique_ptr<addrinfo, void (*)(addrinfo*)> addresses(found, &::freeaddrinfo);
    ServerProbe best = ProbeOf(ErrorOfConnect(*addresses, patience));
    for (const addrinfo* address = addresses->ai_next;
         address != nullptr && best.outcome != ServerProbe::kListening;
         address = address->ai_next) {
        best = std::ranges::min(best, ProbeOf(ErrorOfConnect(*address, patience)), {},
                                &ServerProbe::outcome);
    }
    return best;
}

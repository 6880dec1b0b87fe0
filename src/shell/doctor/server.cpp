#include "shell/doctor/server.h"

#include <arpa/inet.h>
#include <netdb.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <memory>
#include <system_error>

namespace {

constexpr int kPatience = 3000;  // milliseconds

constexpr Product kProducts[] = {
    {"psqlodbc", "5432", "ConnSettings=SET client_encoding TO 'UTF8'", false},
    {"maodbc", "3306", "CHARSET=utf8mb4", false},
    {"myodbc", "3306", "CHARSET=utf8mb4", false},
    {"tdsodbc", "1433", "ClientCharset=UTF-8", true},
    {"virtodbc", "1111", "Charset=UTF-8", false},
};

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

}  // namespace

const Product* ProductOf(const std::string& driver_file)
{
    const std::string name = std::filesystem::path(driver_file).filename();
    const auto* const found = std::ranges::find_if(kProducts, [&](const Product& product) {
        return name.find(product.file_part) != std::string::npos;
    });
    return found == std::end(kProducts) ? nullptr : found;
}

// A host comes as "host", "host:port" or "host,port". What else there is (a socket's file, several
// hosts, an instance's name) says nothing of a port.
std::optional<Server> ServerOf(const DataSource& source, const Product* product)
{
    const bool has_aliases = product != nullptr && product->has_aliases;
    Server server{source.Value("Server"), source.Value("Port")};
    for (const char* key : {"Servername", "Host"}) {
        if (server.host.empty() && !has_aliases) {
            server.host = source.Value(key);
        }
    }
    const auto mark = server.host.find_last_of(":,");
    if (mark != std::string::npos && !IsVersion6(server.host)) {
        server.port = server.host.substr(mark + 1);
        server.host.resize(mark);
    }
    if (server.port.empty() && product != nullptr) {
        server.port = product->port;
    }
    const bool is_plain = server.host.find_first_of("/\\,[") == std::string::npos &&
                          (server.host.find(':') == std::string::npos || IsVersion6(server.host));
    const bool is_port =
        !server.port.empty() && server.port.find_first_not_of("0123456789") == std::string::npos;
    return !server.host.empty() && is_plain && is_port ? std::optional(server) : std::nullopt;
}

Reach TryToReach(const Server& server)
{
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    const int error = ::getaddrinfo(server.host.c_str(), server.port.c_str(), &hints, &found);
    if (error != 0) {
        return {Reach::kUnknownHost, ::gai_strerror(error)};
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

// Ports of this machine that no server answers at.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

/// A port of loopback, kept as long as this object lives: somebody listens and says nothing, or
/// nobody listens.
class LocalPort {
public:
    enum Listener { kSilent, kNobody };

    explicit LocalPort(Listener listener) : socket_(::socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* any = reinterpret_cast<sockaddr*>(&address);
        EXPECT_EQ(::bind(socket_, any, size), 0);
        EXPECT_EQ(listener == kSilent ? ::listen(socket_, 100) : 0, 0);
        EXPECT_EQ(::getsockname(socket_, any, &size), 0);
        number = ntohs(address.sin_port);
    }
    ~LocalPort() { ::close(socket_); }
    LocalPort(const LocalPort&) = delete;
    LocalPort& operator=(const LocalPort&) = delete;

    int number = 0;

private:
    int socket_;
};

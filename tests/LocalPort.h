// Local ports where no server answers.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

/// A port on loopback, kept while this object exists: connections are accepted but not answered,
/// nothing is listening, or its queue is full and connections time out.
class LocalPort {
public:
    enum Listener { kSilent, kNobody, kFull };

    explicit LocalPort(Listener listener) : socket_(::socket(AF_INET, SOCK_STREAM, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* any = reinterpret_cast<sockaddr*>(&address);
        EXPECT_EQ(::bind(socket_, any, size), 0);
        EXPECT_EQ(listener == kNobody ? 0 : ::listen(socket_, listener == kFull ? 0 : 100), 0);
        EXPECT_EQ(::getsockname(socket_, any, &size), 0);
        number = ntohs(address.sin_port);
        if (listener == kFull) {
            EXPECT_EQ(::connect(client_, any, size), 0);
        }
    }
    ~LocalPort()
    {
        ::close(client_);
        ::close(socket_);
    }
    LocalPort(const LocalPort&) = delete;
    LocalPort& operator=(const LocalPort&) = delete;

    int number = 0;

private:
    int socket_;
    int client_ = ::socket(AF_INET, SOCK_STREAM, 0);
};

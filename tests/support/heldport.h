#ifndef QUORVA_TESTS_SUPPORT_HELDPORT_H
#define QUORVA_TESTS_SUPPORT_HELDPORT_H

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

/** Reserves a port of 127.0.0.1 for its lifetime. Nothing listens there until listen(). */
class HeldPort {
public:
    HeldPort() : socket_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        EXPECT_EQ(bind(socket_, reinterpret_cast<const sockaddr*>(&address), size), 0);
        EXPECT_EQ(getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &size), 0);
        number_ = ntohs(address.sin_port);
    }
    ~HeldPort() { close(socket_); }
    HeldPort(const HeldPort&) = delete;
    HeldPort& operator=(const HeldPort&) = delete;

    void listen(int queue) const { EXPECT_EQ(::listen(socket_, queue), 0); }

    int number() const { return number_; }
    int descriptor() const { return socket_; }

private:
    int socket_;
    int number_ = 0;
};

#endif

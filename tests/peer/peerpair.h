#ifndef QUORVA_TESTS_PEER_PEERPAIR_H
#define QUORVA_TESTS_PEER_PEERPAIR_H

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

/** A listener on a free port of 127.0.0.1. */
class Listener {
public:
    Listener() : descriptor_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        address_.sin_family = AF_INET;
        address_.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        (void)bind(descriptor_, reinterpret_cast<const sockaddr*>(&address_), sizeof address_);
        (void)listen(descriptor_, 16);
        socklen_t size = sizeof address_;
        (void)getsockname(descriptor_, reinterpret_cast<sockaddr*>(&address_), &size);
    }
    ~Listener() { close(descriptor_); }
    Listener(const Listener&) = delete;
    Listener& operator=(const Listener&) = delete;

    int port() const { return ntohs(address_.sin_port); }
    const sockaddr_in& address() const { return address_; }
    int accept() const { return accept4(descriptor_, nullptr, nullptr, SOCK_CLOEXEC); }
    int connect() const
    {
        const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        (void)::connect(client, reinterpret_cast<const sockaddr*>(&address_), sizeof address_);
        return client;
    }

private:
    sockaddr_in address_{};
    int descriptor_;
};

#endif

#ifndef QUORVA_TESTS_HOSTILE_PEER_H
#define QUORVA_TESTS_HOSTILE_PEER_H

#include <QByteArray>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <utility>

/** A connection that sends what no client would. It never blocks. */
class Peer {
public:
    explicit Peer(int port, int receiveBuffer = 0) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        if (receiveBuffer != 0)
            setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        address.sin_port = htons(static_cast<std::uint16_t>(port));
        EXPECT_EQ(::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    }
    ~Peer()
    {
        if (socket_ >= 0)
            close(socket_);
    }
    Peer(Peer&& other) noexcept : socket_(std::exchange(other.socket_, -1)) {}
    Peer(const Peer&) = delete;
    Peer& operator=(const Peer&) = delete;

    void send(const QByteArray& bytes)
    {
        // Ignored: the server may have closed the connection, or be taking no more.
        (void)!::send(socket_, bytes.constData(), static_cast<std::size_t>(bytes.size()), MSG_NOSIGNAL | MSG_DONTWAIT);
    }
    void finishSending() { shutdown(socket_, SHUT_WR); }
    void reset()
    {
        const linger atOnce{1, 0};
        setsockopt(socket_, SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        close(std::exchange(socket_, -1));
    }

private:
    int socket_;
};

#endif

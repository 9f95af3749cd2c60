#ifndef QUORVA_TESTS_CLIENT_PEER_H
#define QUORVA_TESTS_CLIENT_PEER_H

#include "client/wireconnection.h"
#include "protocol/framing.h"
#include "support/heldport.h"

#include <gtest/gtest.h>

#include <functional>
#include <thread>

#include <sys/socket.h>
#include <unistd.h>

/** A server that accepts one connection, passes it to `script` on its own thread and closes it when that returns. */
class Peer {
public:
    explicit Peer(std::function<void(int)> script)
    {
        listener_.listen(1);
        thread_ = std::thread([this, script = std::move(script)] {
            const int connection = accept(listener_.descriptor(), nullptr, nullptr);
            if (connection < 0)
                return;
            script(connection);
            close(connection);
        });
    }
    ~Peer()
    {
        shutdown(listener_.descriptor(), SHUT_RDWR); // ends an accept() that is still waiting
        thread_.join();
    }

    int port() const { return listener_.number(); }

private:
    HeldPort listener_;
    std::thread thread_;
};

inline void writeAll(int descriptor, const QByteArray& bytes)
{
    for (qsizetype written = 0; written < bytes.size();) {
        const ssize_t n =
            send(descriptor, bytes.constData() + written, static_cast<size_t>(bytes.size() - written), MSG_NOSIGNAL);
        if (n < 0)
            return;
        written += n;
    }
}

inline QByteArray readExactly(int descriptor, qsizetype size)
{
    QByteArray bytes(size, '\0');
    qsizetype have = 0;
    while (have < size) {
        const ssize_t n = recv(descriptor, bytes.data() + have, static_cast<size_t>(size - have), 0);
        if (n <= 0)
            break;
        have += n;
    }
    bytes.resize(have);
    return bytes;
}

/** Waits until the other side has closed the connection. */
inline void drain(int descriptor)
{
    char piece[4096];
    while (recv(descriptor, piece, sizeof piece, 0) > 0) {
    }
}

inline QByteArray reply(const QByteArray& text)
{
    const auto size = static_cast<quint32>(text.size());
    const char prefix[] = {static_cast<char>(size >> 24), static_cast<char>(size >> 16), static_cast<char>(size >> 8),
                           static_cast<char>(size)};
    return QByteArray(prefix, 4) + text;
}

inline const QByteArray Request = Framing::frameRequest("Op.Name", "{}");

/** A connection to `peer`. */
inline Client::WireConnection connectedTo(const Peer& peer)
{
    Client::WireConnection connection;
    EXPECT_TRUE(connection.open("127.0.0.1", peer.port())) << connection.error().toStdString();
    return connection;
}

#endif

#ifndef QUORVA_TESTS_TOOLS_SCRIPTEDSERVER_H
#define QUORVA_TESTS_TOOLS_SCRIPTEDSERVER_H

#include <QByteArray>

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <utility>

/**
 * Speaks the protocol and answers as a test says, with replies that the real server gives in rare cases only. Takes one
 * connection after the other, on a thread of its own.
 */
class ScriptedServer {
public:
    /** The text of a reply to an operation's body, or nothing, which closes the connection. */
    using Script = std::function<std::optional<QByteArray>(const QByteArray& operation, const QByteArray& body)>;

    explicit ScriptedServer(Script script)
        : script_(std::move(script)), listener_(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        EXPECT_EQ(bind(listener_, reinterpret_cast<const sockaddr*>(&address), size), 0);
        EXPECT_EQ(listen(listener_, 8), 0);
        EXPECT_EQ(getsockname(listener_, reinterpret_cast<sockaddr*>(&address), &size), 0);
        port_ = ntohs(address.sin_port);
        thread_ = std::thread([this] {
            for (int peer = 0; (peer = accept(listener_, nullptr, nullptr)) >= 0; close(peer)) {
                while (answer(peer)) {
                }
            }
        });
    }
    ~ScriptedServer()
    {
        shutdown(listener_, SHUT_RDWR);
        thread_.join();
        close(listener_);
    }
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    int port() const { return port_; }

private:
    /** Four bytes of length and so many others; nothing at the connection's end. */
    static std::optional<QByteArray> readPart(int peer)
    {
        quint32 length = 0;
        if (recv(peer, &length, sizeof length, MSG_WAITALL) != sizeof length)
            return std::nullopt;
        QByteArray bytes(static_cast<qsizetype>(ntohl(length)), '\0');
        if (bytes.isEmpty())
            return bytes;
        if (recv(peer, bytes.data(), static_cast<size_t>(bytes.size()), MSG_WAITALL) != bytes.size())
            return std::nullopt;
        return bytes;
    }

    bool answer(int peer)
    {
        const auto operation = readPart(peer);
        const auto body = operation ? readPart(peer) : std::nullopt;
        const auto reply = body ? script_(*operation, *body) : std::nullopt;
        if (!reply)
            return false;
        const quint32 length = htonl(static_cast<quint32>(reply->size()));
        const QByteArray bytes = QByteArray(reinterpret_cast<const char*>(&length), sizeof length) + *reply;
        return send(peer, bytes.constData(), static_cast<size_t>(bytes.size()), MSG_NOSIGNAL) == bytes.size();
    }

    const Script script_;
    const int listener_;
    int port_ = 0;
    std::thread thread_;
};

#endif

#ifndef QUORVA_TESTS_SUPPORT_SCRIPTEDSERVER_H
#define QUORVA_TESTS_SUPPORT_SCRIPTEDSERVER_H

#include "support/heldport.h"

#include <QByteArray>

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <thread>
#include <vector>

/**
 * A server that can misbehave: it passes each request to a script, which returns the bytes to send; if there are none,
 * the connection is closed. The script runs on the connection's own thread.
 */
class ScriptedServer {
public:
    struct Request {
        std::string operation;
        std::string body;
    };

    explicit ScriptedServer(std::function<std::string(const Request&)> script);
    ~ScriptedServer();
    ScriptedServer(const ScriptedServer&) = delete;
    ScriptedServer& operator=(const ScriptedServer&) = delete;

    int port() const { return listener_.number(); }
    int connections() const { return connections_; }
    int requests() const { return requests_; }

    /** A reply preceded by its length. */
    static std::string framed(const std::string& body);

private:
    void acceptAll();
    void serve(int socket);

    const std::function<std::string(const Request&)> script_;
    HeldPort listener_;
    std::atomic<int> connections_ = 0;
    std::atomic<int> requests_ = 0;
    std::thread acceptor_;
    // Owned by the acceptor thread; the destructor takes over once that has ended.
    std::vector<int> sockets_;
    std::vector<std::thread> threads_;
};

/** The same for complete replies: the script returns a reply's text, or nothing to close the connection. */
class ReplyingServer : public ScriptedServer {
public:
    using Script = std::function<std::optional<QByteArray>(const QByteArray& operation, const QByteArray& body)>;

    explicit ReplyingServer(Script script);
};

#endif

#ifndef QUORVA_TESTS_HTTP_SCRIPTEDSERVER_H
#define QUORVA_TESTS_HTTP_SCRIPTEDSERVER_H

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

/**
 * A server that misbehaves: it takes connections one after another, and gives each request of one to a script, which
 * returns the bytes to send. Without any, the connection is closed.
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

    int port() const { return port_; }
    int connections() const { return connections_; }
    int requests() const { return requests_; }

    /** A reply with its length in front. */
    static std::string framed(const std::string& body);

private:
    void serve();

    const std::function<std::string(const Request&)> script_;
    int listener_;
    int port_ = 0;
    std::atomic<int> current_ = -1; // the socket of the connection that is served
    std::atomic<bool> ending_ = false;
    std::atomic<int> connections_ = 0;
    std::atomic<int> requests_ = 0;
    std::thread thread_;
};

#endif

#ifndef QUORVA_NET_BDBSOCKET_H
#define QUORVA_NET_BDBSOCKET_H

#include "base/descriptor.h"
#include "peer/allowedusers.h"

#include <atomic>
#include <thread>

/**
 * A listening socket and the thread that accepts its connections.
 *
 * The most derived class must call stop() in its destructor: until then the thread may call incomingConnection().
 */
class TcpServer {
public:
    TcpServer() = default;
    virtual ~TcpServer();
    TcpServer(const TcpServer&) = delete;
    TcpServer& operator=(const TcpServer&) = delete;

    /**
     * Closes connections of other users immediately, each with a WARN line. Not owned; call before listen(). Null:
     * anyone.
     */
    void admitOnly(AllowedUsers* users) { users_ = users; }

    /**
     * Listens on a dotted IPv4 address and starts accepting. 0 on success, -1 otherwise. Call once: listening ends only
     * with destruction.
     */
    [[nodiscard]] int listen(const char* address, int port);

    /**
     * The port given to listen() once that has succeeded, 0 before.
     * Kept: it stays 0 when the system was asked to choose a port.
     */
    int port() const { return port_; }

    /** Takes an accepted socket, on the accept thread; a negative number after a failed accept. */
    virtual void incomingConnection(int socket) = 0;

    /** A connection was closed instead of passed to incomingConnection(), on the accept thread. */
    virtual void refusedConnection() {}

protected:
    /** Ends the accept thread and closes the listening socket. */
    void stop();

    int listeningSocket() const { return listeningSocket_.number(); }

private:
    void run();
    int fail(int number, const char* text);
    void acceptConnection();
    bool admits(int socket);
    void onAcceptFailure(int error);

    Base::Descriptor listeningSocket_;
    int port_ = 0;
    AllowedUsers* users_ = nullptr;
    std::atomic<bool> stopping_{false};
    std::thread thread_;
};

#endif

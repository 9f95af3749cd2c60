#ifndef QUORVA_HTTP_SERVERPOOL_H
#define QUORVA_HTTP_SERVERPOOL_H

#include "client/wireconnection.h"

#include <mutex>
#include <vector>

namespace Http {

/** Where the server listens, and how long it may take. */
struct ServerOptions {
    QString host;           // dotted IPv4
    int port = 0;           // TCP
    int connectTimeout = 0; // milliseconds
    int receiveTimeout = 0; // milliseconds without a byte of the reply, or in which no byte of the request was taken
};

/** How far an exchange came. */
enum class Exchange {
    Done,
    NotSent,  // the server did not get the whole request, so it did nothing
    Lost,     // the connection ended before the reply was whole; the request may have been executed
    TimedOut, // the same, for want of a reply
};

/**
 * Connections to the server that are kept between requests. There are as many as there were exchanges at once. Any
 * thread.
 *
 * No request is ever sent twice: a connection that the server has closed is found out before anything is sent on it,
 * and what fails later fails the exchange.
 */
class ServerPool {
public:
    explicit ServerPool(const ServerOptions& options) : options_(options) {}
    ServerPool(const ServerPool&) = delete;
    ServerPool& operator=(const ServerPool&) = delete;

    /**
     * Sends one request, on a connection that is idle or else a new one, and waits for the reply. `operation` is the
     * full name. `reply` is only set when it is done, `error` is only set when it is not.
     */
    [[nodiscard]] Exchange exchange(const QByteArray& operation, const QByteArray& body, QByteArray* reply,
                                    QString* error);

private:
    bool takeIdle(Client::WireConnection* connection);
    bool connect(Client::WireConnection* connection) const;
    void giveBack(Client::WireConnection&& connection);

    const ServerOptions options_;
    std::mutex mutex_;
    std::vector<Client::WireConnection> idle_; // guarded by mutex_; the one used last is taken first
};

} // namespace Http

#endif

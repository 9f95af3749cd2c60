#ifndef QUORVA_HTTP_SERVERPOOL_H
#define QUORVA_HTTP_SERVERPOOL_H

#include "client/exchangeresult.h"
#include "client/wireconnection.h"

#include <mutex>
#include <vector>

namespace Http {

/** The Quorva server behind this service: its address and time limits. */
struct Upstream {
    QString host;           // dotted IPv4
    int port = 0;           // TCP
    int connectTimeout = 0; // milliseconds
    int receiveTimeout = 0; // milliseconds without receiving a byte of the reply or sending one of the request
};

using Client::ExchangeResult;

/**
 * Connections to the server that are kept open between requests, as many as there have been concurrent exchanges. Any
 * thread.
 *
 * No request is ever sent twice: a connection that the server has closed is detected before anything is sent on it, and
 * any later failure fails the exchange.
 */
class ServerPool {
public:
    explicit ServerPool(const Upstream& upstream) : upstream_(upstream) {}
    ServerPool(const ServerPool&) = delete;
    ServerPool& operator=(const ServerPool&) = delete;

    /**
     * Sends one request, on an idle connection or otherwise a new one, and waits for the reply. `operation` is the full
     * name. `reply` is set only on success, `error` only on failure.
     */
    [[nodiscard]] ExchangeResult exchange(const QByteArray& operation, const QByteArray& body, QByteArray* reply,
                                          QString* error);

private:
    bool takeIdle(Client::WireConnection* connection);
    bool connect(Client::WireConnection* connection) const;
    void giveBack(Client::WireConnection&& connection);

    const Upstream upstream_;
    std::mutex mutex_;
    std::vector<Client::WireConnection> idle_; // guarded by mutex_; most recently used is taken first
};

} // namespace Http

#endif

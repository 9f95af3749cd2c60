#ifndef QUORVA_HTTP_SERVERPOOL_H
#define QUORVA_HTTP_SERVERPOOL_H

#include "client/exchangeresult.h"
#include "client/wireconnection.h"
#include "http/loopconnection.h"

#include <atomic>
#include <memory>
#include <mutex>
#include <utility>
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
 *
 * Idle connections can be handed over to an event loop, for exchanges that no thread waits for, and then serve only
 * those. There are at most `most` connections of both kinds if there are no more exchanges at a time: one that the loop
 * has given back is closed when exchange() needs a new one.
 */
class ServerPool {
public:
    ServerPool(Upstream upstream, int most) : upstream_(std::move(upstream)), most_(most) {}
    ServerPool(const ServerPool&) = delete;
    ServerPool& operator=(const ServerPool&) = delete;

    const Upstream& upstream() const { return upstream_; }

    /**
     * Sends one request, on an idle connection or otherwise a new one, and waits for the reply. `operation` is the full
     * name. `reply` is set only on success, `error` only on failure.
     */
    [[nodiscard]] ExchangeResult exchange(const QByteArray& operation, const QByteArray& body, QByteArray* reply,
                                          QString* error);

    /** A connection that is counted as long as it exists. */
    template <typename Connection> struct Closer {
        void operator()(Connection* connection) const
        {
            delete connection;
            --*open;
        }
        std::atomic<int>* open = nullptr;
    };
    template <typename Connection> using Counted = std::unique_ptr<Connection, Closer<Connection>>;

    /** An idle connection for an event loop; null if there is none. */
    [[nodiscard]] Counted<LoopConnection> takeForLoop(const Executor& executor);
    void giveBack(Counted<LoopConnection> connection);
    /** Closes those that loops have given back; to be called before the loops end. */
    void closeLoopConnections();

private:
    using Wire = Counted<Client::WireConnection>;

    Wire takeIdle();
    Wire newConnection();
    void giveBack(Wire connection);
    template <typename Pointer> void keep(Pointer connection, std::vector<Pointer>* connections);
    template <typename Connection, typename... Arguments> Counted<Connection> make(Arguments&&... arguments);

    const Upstream upstream_;
    const int most_;
    std::atomic<int> open_ = 0; // connections; must outlive them
    std::mutex mutex_;
    std::vector<Wire> idle_;                           // guarded by mutex_; most recently used is taken first
    std::vector<Counted<LoopConnection>> idleOfLoops_; // guarded by mutex_; likewise
};

} // namespace Http

#endif

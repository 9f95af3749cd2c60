#ifndef QUORVA_HTTP_SERVEREXCHANGES_H
#define QUORVA_HTTP_SERVEREXCHANGES_H

#include "http/asynctypes.h"
#include "http/crew.h"
#include "http/loopconnection.h"
#include "http/serverpool.h"

#include <functional>
#include <list>
#include <memory>
#include <optional>

namespace Http {

/**
 * Exchanges with the server that no thread waits for, on connections of a ServerPool. Each takes the place of one of a
 * crew's jobs. For the transport's thread.
 */
class ServerExchanges {
public:
    /** What an exchange came to; `reply` is set only on success, `error` only on failure. */
    struct Outcome {
        ExchangeResult result = ExchangeResult::Done;
        QByteArray reply;
        QString error;
    };
    using Done = std::function<void(Outcome&&)>;
    /** A request that was sent. */
    struct Sent {
        Crew::Place place;
        ServerPool::Counted<LoopConnection> connection;
    };

    /** The pool, the crew and the executor's loop must outlive this object. */
    ServerExchanges(const Executor& executor, ServerPool* pool, Crew* crew);
    ~ServerExchanges();
    ServerExchanges(const ServerExchanges&) = delete;
    ServerExchanges& operator=(const ServerExchanges&) = delete;

    /**
     * Sends a request if that takes no waiting: if there is a place, and an idle connection. Returns null otherwise,
     * and then the server does nothing. The result is to be passed to await().
     */
    [[nodiscard]] std::optional<Sent> send(const QByteArray& operation, const QByteArray& body);

    /** Calls `done` later, upon the reply to the request that was sent. */
    void await(Sent&& sent, Done done);

private:
    /** An exchange under way. */
    struct Exchange {
        Sent sent;
        Done done;
        Clock::time_point deadline;
        bool isLate = false;
    };
    using Place = std::list<Exchange>::iterator;

    void onProgress(Place place, LoopConnection::Reply& reply);
    void setTimer();
    void onTimer();

    const Executor executor_;
    ServerPool* const pool_;
    Crew* const crew_;
    const std::chrono::milliseconds timeout_;
    std::list<Exchange> exchanges_; // the one that has made progress longest ago is the first
    Timer timer_;                   // runs while there are exchanges, and fires no later than the first deadline
};

} // namespace Http

#endif

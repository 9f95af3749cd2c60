#ifndef QUORVA_HTTP_CONNECTIONS_H
#define QUORVA_HTTP_CONNECTIONS_H

#include "base/memorytrimmer.h"
#include "http/httplimits.h"
#include "http/transportfigures.h"

#include <atomic>
#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <list>
#include <memory>

namespace Http {

class HttpConnection;

/**
 * The state that a server's connections share: how many there are, which are idle, which may receive a large body, and
 * whether the server is stopping. It owns only the connections that wait to receive a body, as nothing else holds
 * these. For the transport's thread, except where it says any.
 */
class Connections {
public:
    /** `figures` must outlive this object. */
    Connections(const HttpLimits& limits, TransportFigures* figures)
        : limit_(limits.connections), untakenLimit_(limits.untakenBytes), freeBodyBytes_(limits.largeBodyBytes),
          figures_(figures)
    {}
    Connections(const Connections&) = delete;
    Connections& operator=(const Connections&) = delete;

    /** An open connection's place among the others. */
    using Place = std::list<HttpConnection*>::iterator;
    Place add(HttpConnection* connection);
    void remove(Place place);
    bool isFull() const { return active_.size() + idle_.size() >= limit_; }

    /**
     * Calls `freed` once, as soon as there is room for another connection; until then, each connection is closed after
     * its response.
     */
    void waitForRoom(std::function<void()> freed);
    bool isAwaited() const { return isAwaited_; }
    /** Ends the connection that has been idle longest, if it has been idle for at least `patience`. */
    void endIdle(std::chrono::milliseconds patience);

    /** Neither takes memory, and both keep the place valid. */
    void enterIdle(Place place) { idle_.splice(idle_.end(), active_, place); }
    void leaveIdle(Place place) { active_.splice(active_.end(), idle_, place); }

    /** Reserves room for a large body of at most `bodyBytes`. Returns false when there is none, or others wait for it.
     */
    bool takeBodyRoom(std::size_t bytes);
    void giveBodyRoom(std::size_t bytes);
    /**
     * Queues a connection that got no room: its enterBodyRoom() is called once that many bytes have been reserved for
     * it. First come, first served, so that smaller bodies cannot overtake a large one forever.
     */
    void queueForBodyRoom(std::shared_ptr<HttpConnection> connection, std::size_t bytes);
    void leaveBodyQueue(const HttpConnection* connection);

    /** A connection whose client has not yet taken all of a response, and the bytes of that. */
    struct Untaken {
        HttpConnection* connection;
        std::size_t bytes;
    };
    using UntakenPlace = std::list<Untaken>::iterator;
    /**
     * Notes that a connection keeps a response. With too many bytes of them, ends others, first those whose clients
     * have taken nothing for longest.
     */
    UntakenPlace enterUntaken(const Untaken& untaken);
    /** The client has taken some of it. */
    void postponeUntaken(UntakenPlace place) { untaken_.splice(untaken_.end(), untaken_, place); }
    void leaveUntaken(UntakenPlace place);

    /** Asks every connection to end. */
    void stop();
    bool isStopping() const { return isStopping_; }

    /** Counters of the connections. Any thread. */
    TransportFigures* figures() const { return figures_; }
    /** Must be notified of freed bodies. Any thread. */
    Base::MemoryTrimmer& memory() { return memory_; }

private:
    struct Queued {
        std::shared_ptr<HttpConnection> connection;
        std::size_t bytes;
    };

    void admitQueued();

    const std::size_t limit_;
    const std::size_t untakenLimit_;
    std::size_t freeBodyBytes_;
    TransportFigures* const figures_;
    std::atomic<bool> isStopping_ = false;
    std::atomic<bool> isAwaited_ = false; // freed_ is set
    std::list<HttpConnection*> active_;   // each connection is in this list or in the other
    std::list<HttpConnection*> idle_;     // longest idle first
    std::deque<Queued> bodyQueue_;
    std::list<Untaken> untaken_; // longest without progress first
    std::size_t untakenBytes_ = 0;
    std::function<void()> freed_;
    Base::MemoryTrimmer memory_;
};

} // namespace Http

#endif

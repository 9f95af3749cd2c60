#ifndef QUORVA_HTTP_CONNECTIONS_H
#define QUORVA_HTTP_CONNECTIONS_H

#include <atomic>
#include <chrono>
#include <cstddef>
#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <unordered_set>

namespace Http {

class HttpConnection;

/**
 * What the connections of a server share: how many there are, which of them are idle, who may take in a large body, and
 * whether it is time to end. It owns none of them but those that wait to take in a body, which nothing else holds. For
 * the transport's thread, save for isAwaited() and isStopping(), which any thread may ask.
 */
class Connections {
public:
    /** So many may be open at once, and so many may hold a large body. */
    Connections(std::size_t limit, std::size_t largeBodies) : limit_(limit), bodyRooms_(largeBodies) {}
    Connections(const Connections&) = delete;
    Connections& operator=(const Connections&) = delete;

    void add(HttpConnection* connection) { open_.insert(connection); }
    void remove(HttpConnection* connection);
    bool isFull() const { return open_.size() >= limit_; }

    /** `freed` is called once, as soon as there is room for another connection; until then answers end connections. */
    void waitForRoom(std::function<void()> freed);
    bool isAwaited() const { return isAwaited_; }
    /** Ends the connection that has been idle for longest, if that has been for as long as this. */
    void endIdle(std::chrono::milliseconds patience);

    using IdlePlace = std::list<HttpConnection*>::iterator;
    IdlePlace enterIdle(HttpConnection* connection) { return idle_.insert(idle_.end(), connection); }
    void leaveIdle(IdlePlace place) { idle_.erase(place); }

    /** True when there is room for a large body, which is then taken. */
    bool takeBodyRoom();
    void giveBodyRoom();
    /** For a connection that found none: its enterBodyRoom() is called when it has been given some. */
    void queueForBodyRoom(std::shared_ptr<HttpConnection> connection);
    void leaveBodyQueue(const HttpConnection* connection);

    /** Asks every connection to end. */
    void stop();
    bool isStopping() const { return isStopping_; }

private:
    const std::size_t limit_;
    std::size_t bodyRooms_; // that are free
    std::atomic<bool> isStopping_ = false;
    std::atomic<bool> isAwaited_ = false; // freed_ is set
    std::unordered_set<HttpConnection*> open_;
    std::list<HttpConnection*> idle_; // the one that has been for longest comes first
    std::deque<std::shared_ptr<HttpConnection>> bodyQueue_;
    std::function<void()> freed_;
};

} // namespace Http

#endif

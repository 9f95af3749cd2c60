#ifndef QUORVA_NET_COMPLETIONPORT_H
#define QUORVA_NET_COMPLETIONPORT_H

#include "base/descriptor.h"

#include <QMutex>

#include <atomic>
#include <cstdint>

struct epoll_event;

/**
 * The one epoll instance that all workers wait on. Sockets are armed for one event at a time; taking that event disarms
 * the socket, so a connection belongs to one thread until that thread rearms it. After that, another thread may already
 * own the connection.
 *
 * Arming costs a system call of 0.2 microseconds for each request. Edge-triggered sockets need none, but deliver an
 * event whenever bytes arrive, even while a thread owns the connection, so that another thread may access a handler
 * that the owner has deleted. A receive before arming would find nothing from a client that waits for its reply.
 *
 * Threads: any, except for the destructor. Wait and arm only after an open() has succeeded.
 */
class CompletionPort {
public:
    CompletionPort() = default;
    CompletionPort(const CompletionPort&) = delete;
    CompletionPort& operator=(const CompletionPort&) = delete;

    /** Creates the port unless it exists. -1 on failure, see errno. */
    [[nodiscard]] int open();

    /**
     * Adds a socket and arms it for `events`. `key` is what next() returns for it, never null. -1 on failure, see
     * errno.
     *
     * Adding and arming are one step on purpose: a socket added without events still reports a reset, and a worker
     * would then take the connection while another thread is about to arm it.
     */
    [[nodiscard]] int associate(int socket, void* key, std::uint32_t events);

    /** Rearms a socket of the port. -1 on failure, see errno. */
    [[nodiscard]] int arm(int socket, void* key, std::uint32_t events);

    /** Waits for an event without limit and returns its key; null once the port is stopped. */
    void* next();

    /**
     * True while at least one thread waits in next(), or has been given an event and is about to return. If threads
     * block only after this returned true, at least one keeps serving the port: the last one to call it must have seen
     * another one waiting.
     */
    bool isAttended() const { return waiting_ > 0; }

    /** How many threads wait in next(), as above. */
    int waiting() const { return waiting_; }

    /** Ends all current and future waits in next(). */
    void stop();

private:
    int control(int operation, int socket, void* key, std::uint32_t events);
    bool take(epoll_event* event, int milliseconds);
    bool takeReady(epoll_event* event);

    QMutex creationMutex_;
    std::atomic<bool> isOpen_{false}; // set once, under creationMutex_, after the descriptors
    Base::Descriptor epoll_;
    Base::Descriptor stopEvent_;         // an eventfd in the epoll set, with the null key
    std::atomic<int> waiting_{0};        // threads in next()
    std::atomic<int> mostWaiting_{0};    // ever seen at once: with fewer, others run
    std::atomic<bool> isLooking_{false}; // one of them is in takeReady()
};

#endif

#ifndef QUORVA_NET_BDBREQHANDLER_H
#define QUORVA_NET_BDBREQHANDLER_H

#include "request/bdbrequest.h"
#include "request/dispatch.h"
#include "storage/bdbobjtable.h"

#include <QByteArray>

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <utility>

/** Bytes still to be sent; owned by the handler that returned them. */
struct TransferBuffer {
    const char* data = nullptr;
    std::size_t length = 0;
};

/**
 * One connection: it collects a request's bytes, runs the request and holds the reply until it is sent, then starts
 * over with the next request. It owns the request and the connection's descriptor table, but not the socket: the worker
 * that deletes the handler closes it.
 *
 * Threads: used by one thread at a time, therefore without a lock. The worker that took a receive event owns it until
 * it arms the socket, before or after it has run the request, or passes the handler to the database pool; a pool thread
 * owns it until it arms the socket. Both pass it to the environment's flusher if the reply waits for a flush; the
 * flusher then owns it until it arms the socket.
 */
class BDBReqHandler {
public:
    /**
     * `envTableCapacity` is the size of an environment's table of database handles, `connectionTableCapacity` that of
     * this connection's table. `environments` is the server's registry, `server` its view for the reply to a Status, if
     * any; both outlive the handler.
     */
    BDBReqHandler(int envTableCapacity, int connectionTableCapacity, BDBObjTable* environments, int socket,
                  const ServerView* server = nullptr);
    virtual ~BDBReqHandler();
    BDBReqHandler(const BDBReqHandler&) = delete;
    BDBReqHandler& operator=(const BDBReqHandler&) = delete;

    /** Of a complete request: on which thread to run it. */
    Requests::Duration duration() { return Requests::durationOf(request_); }

    /**
     * Runs the request, on a database pool thread. 0 when the reply is ready; -1 when the connection must be closed
     * without one: the body is not JSON, the request is incomplete, or the reply is too long for its length prefix.
     */
    [[nodiscard]] virtual int handle();

    /**
     * The same for a request of Duration::Short, on a thread that must not run long operations, such as opening a
     * database. TakesLong if the request needs one: the handler is then unchanged, and handle() must run the request on
     * another thread.
     */
    [[nodiscard]] virtual int handleIfShort();
    static constexpr int TakesLong = 1;

    /**
     * After handle(): the use of the environment that the request worked in. If its unflushed() has any commits, a
     * flush must end it before the reply may be sent.
     */
    EnvironmentUse takeEnvironment() { return std::move(request_.environment); }

    /**
     * Called before the reply is sent, with the result of that flush, or 0 if none was needed. A failure turns the
     * reply into an error reply. Counts the request. 0, or -1 as handle().
     */
    [[nodiscard]] int finishReply(int flushed);

    /** Takes the next chunk of a request. -1 if its header is malformed. */
    [[nodiscard]] virtual int appendData(const char* data, unsigned len);

    /** Replaces the reply's bytes, length prefix included. */
    virtual void setReply(QByteArray reply);

    /** True from the request's last byte until reset(). */
    virtual bool isReadComplete() const;

    virtual int socketDescriptor() const;

    /** The size of the request's body, as declared, or of the reply, whichever is larger. 0 between two requests. */
    std::size_t transferSize() const;

    /** Makes the whole reply the bytes to be sent, and returns them. */
    virtual const TransferBuffer& sendBuffer() = 0;

    /** Prepares the handler for the next request and releases what the last one used. */
    virtual void reset();

    /** Adds the envelope of the request's status to its reply map, and serializes that as the reply. */
    virtual void composeReply();

    /**
     * Parses the operation name and the body's length from a request's first chunk; `consumed` is set to the header's
     * size. -1 when the header is malformed or incomplete.
     */
    [[nodiscard]] virtual int parseHeader(const char* data, unsigned* consumed, unsigned len);

protected:
    BDBRequest& request() { return request_; }
    const QByteArray& reply() const { return reply_; }

private:
    using Clock = std::chrono::steady_clock;

    void appendBody(const char* data, unsigned len);
    void restoreRequest();
    void appendEnvelope(QByteArray* frame) const;
    void releaseRequest();
    void countRequest();

    const int socket_;

    QByteArray reply_;                     // with its length prefix
    std::uint32_t expectedBodyLength_ = 0; // also 0 until the header has been read
    bool readComplete_ = false;
    Clock::time_point completedAt_; // when the request's last byte arrived
    BDBObjTable connectionTable_;
    BDBRequest request_; // uses the table, so it is destroyed first
};

#endif

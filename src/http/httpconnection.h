#ifndef QUORVA_HTTP_HTTPCONNECTION_H
#define QUORVA_HTTP_HTTPCONNECTION_H

#include "http/asynctypes.h"
#include "http/connections.h"
#include "http/deadline.h"
#include "http/httplimits.h"
#include "http/outgoingresponse.h"
#include "http/requestparser.h"

#include <boost/beast/core/flat_buffer.hpp>

#include <chrono>
#include <cstddef>
#include <memory>
#include <new>
#include <optional>
#include <utility>

namespace Http {

/**
 * A client's connection: one request after another, each answered before the next is read. Lives as long as one of its
 * asynchronous operations is pending. For the transport's thread, which it never blocks; while the service has a
 * request, the connection belongs to the thread that answers it.
 */
class HttpConnection : public std::enable_shared_from_this<HttpConnection> {
public:
    /** Takes over the socket. The limits, the service and `connections` must outlive this object. */
    HttpConnection(Socket&& socket, const HttpLimits& limits, HttpService* service, Connections* connections);
    ~HttpConnection();
    HttpConnection(const HttpConnection&) = delete;
    HttpConnection& operator=(const HttpConnection&) = delete;

    void start()
    {
        attempt([this] { waitForRequest(); });
    }
    /** Closes the connection in any state. */
    void end();
    /** For the program's shutdown: received requests are answered, partially received ones get a short grace period. */
    void stop();

    /** Whether it has been waiting for a request for at least this long. */
    bool isIdleSince(std::chrono::milliseconds time) const;
    /** Called when room of that many bytes has been reserved for its body. */
    void enterBodyRoom(std::size_t bytes);
    /** Called when the deadline of the state has passed. */
    void onTimeout();

private:
    /** What the connection is waiting for. */
    enum class State {
        Idle,      // a request's first bytes
        Reading,   // the rest of the request
        Queued,    // room for its body
        Inviting,  // "100 Continue" to be sent to the client
        Serving,   // the service's answer
        Writing,   // the client to accept the response
        Lingering, // the client to stop sending after the last response
        Ended,
    };

    class Answering;

    static constexpr std::size_t FirstPiece = 1024; // of input; an idle connection has memory for it
    static constexpr std::size_t Piece = 4096;      // most requests fit into both

    /** Does a part of the connection's work. If there is no memory for it, the connection ends, and the caller learns
     * of it. */
    template <typename Work> void attempt(Work&& work)
    {
        try {
            work();
        } catch (const std::bad_alloc&) {
            end();
            throw;
        }
    }
    /** A handler for an asynchronous operation that belongs to a state; in any other it does nothing. */
    template <typename Work> auto handler(State state, Work&& work)
    {
        return [self = shared_from_this(), state, work = std::forward<Work>(work)](const auto&... results) {
            if (self->state_ == state)
                self->attempt([&] { work(results...); });
        };
    }

    void enter(State state);
    void enter(State state, std::chrono::milliseconds limit);
    bool hasInput();

    void waitForRequest();
    void beginPiece();
    void read();
    void onRead(const ErrorCode& error, std::size_t size);
    void parse();
    bool beginBody();
    void inviteBody();
    void goOn();
    std::size_t neededRoom() const;
    bool hasRoomForBody();
    void leaveBodyRoom();

    void serve();
    void fail(Fault fault);
    void answer(Response&& response);
    void compose(Response&& response);
    void send();
    void write();
    void settle();
    void onWritten();
    void linger();

    const HttpLimits& limits_;
    HttpService* const service_;
    Connections* const connections_;
    Socket socket_;
    State state_ = State::Ended;
    Clock::time_point since_;                     // of the state
    Deadline deadline_;                           // of the state
    std::optional<Clock::time_point> lastMoment_; // for reading anything
    Connections::UntakenPlace untakenPlace_;      // while it is writing
    std::size_t bodyRoom_ = 0;                    // bytes reserved for the body

    boost::beast::flat_buffer input_;     // not yet parsed
    std::optional<RequestParser> parser_; // of the current request
    std::size_t pieceBytes_ = 0;          // received since the deadline was set
    bool requestIsWhole_ = false;         // it was read completely, so the connection can be reused

    std::shared_ptr<HttpConnection> served_; // itself, while the service has its request
    OutgoingResponse response_;
    bool isLast_ = false; // the connection is closed after the response

    const Connections::Place place_; // last, as only a complete connection may be found there
};

} // namespace Http

#endif

#ifndef QUORVA_HTTP_HTTPCONNECTION_H
#define QUORVA_HTTP_HTTPCONNECTION_H

#include "http/connections.h"
#include "http/httplimits.h"
#include "http/requestparser.h"

#include <boost/asio/basic_waitable_timer.hpp>
#include <boost/asio/io_context.hpp>
#include <boost/asio/ip/tcp.hpp>
#include <boost/beast/core/buffers_suffix.hpp>
#include <boost/beast/core/flat_buffer.hpp>

#include <array>
#include <chrono>
#include <memory>
#include <optional>
#include <string>

namespace Http {

/**
 * A client's connection: one request after the other, each answered before the next is read. Lives as long as one of
 * its operations is under way. For the transport's thread, which it never makes wait; while the service has a request,
 * the thread that answers has the connection.
 */
class HttpConnection : public std::enable_shared_from_this<HttpConnection> {
public:
    using Executor = boost::asio::io_context::executor_type;
    using Socket = boost::asio::basic_stream_socket<boost::asio::ip::tcp, Executor>;

    /** Takes the socket over. The limits, the service and the other connections outlive this object. */
    HttpConnection(Socket&& socket, const HttpLimits& limits, HttpService* service, Connections* connections);
    ~HttpConnection();
    HttpConnection(const HttpConnection&) = delete;
    HttpConnection& operator=(const HttpConnection&) = delete;

    void start() { waitForRequest(); }
    /** Closes it, whatever it does. */
    void end();
    /** The program ends: what has come is answered, what still comes is given a moment. */
    void stop();

    /** It waits for a request, and has for so long. */
    bool isIdleSince(std::chrono::milliseconds time) const;
    /** There is room for its body. */
    void enterBodyRoom();

private:
    using Clock = std::chrono::steady_clock;
    using Timer = boost::asio::basic_waitable_timer<Clock, boost::asio::wait_traits<Clock>, Executor>;
    using ErrorCode = boost::system::error_code;

    /** What it waits for. */
    enum class State {
        Idle,      // a request's first bytes
        Reading,   // more of it
        Queued,    // room for its body
        Inviting,  // the client to be told that it may send its body
        Serving,   // the service's answer
        Writing,   // the client to take the answer
        Lingering, // the client to stop sending after an answer that ends the connection
        Ended,
    };

    void enter(State state);
    void enter(State state, std::chrono::milliseconds limit);
    void setAlarm();
    void onAlarm();
    void onTimeout();
    bool hasInput();

    void waitForRequest();
    void read();
    void onRead(const ErrorCode& error, std::size_t size);
    void parse();
    bool beginBody();
    void inviteBody();
    bool hasRoomForBody();
    void leaveBodyRoom();

    void serve();
    void fail(Fault fault);
    void answer(Response&& response);
    void compose(Response&& response);
    void write();
    void send();
    void settle();
    void onWritten();
    void linger();

    const HttpLimits& limits_;
    HttpService* const service_;
    Connections* const connections_;
    Socket socket_;
    Timer timer_;
    State state_ = State::Ended;
    static constexpr Clock::time_point Never = Clock::time_point::max();
    Clock::time_point since_;                     // of the state
    Clock::time_point deadline_ = Never;          // of the state
    Clock::time_point alarm_ = Never;             // of the timer; not after the deadline
    std::optional<Clock::time_point> lastMoment_; // to read anything
    Connections::IdlePlace idlePlace_;            // while it is idle
    bool hasBodyRoom_ = false;

    boost::beast::flat_buffer input_;     // that was not parsed
    std::optional<RequestParser> parser_; // of the request that is read or served
    bool requestIsWhole_ = false;         // it was read to its end, so that the connection can carry another

    Response response_;
    std::string head_;                                                              // of the response
    boost::beast::buffers_suffix<std::array<boost::asio::const_buffer, 2>> output_; // what is left of the two
    bool isLast_ = false;                                                           // it ends the connection
    ErrorCode sendError_;                                                           // of the latest attempt
};

} // namespace Http

#endif

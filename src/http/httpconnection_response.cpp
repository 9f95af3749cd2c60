// How a connection answers: with the service's response to a request, or with an error for one that it could not read.
#include "http/httpconnection.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>

#include <chrono>
#include <memory>
#include <new>
#include <thread>
#include <utility>

namespace Http {

namespace asio = boost::asio;

namespace {

/** The time for a client to close, or to send more, after the last response on a connection. */
constexpr std::chrono::milliseconds Linger{5000};
/** Between attempts to continue for which there was no memory. */
constexpr std::chrono::milliseconds MemoryPause{10};

} // namespace

/**
 * How the service answers the request that a connection has passed to it. Until then, nothing else uses the connection,
 * so it is safe to send the response on any thread, which saves a context switch. If this is destroyed without an
 * answer, as there was no memory for one, the connection ends. Any thread.
 */
class HttpConnection::Answering {
public:
    explicit Answering(HttpConnection* connection)
        : connection_(connection), guard_(asio::make_work_guard(connection->socket_.get_executor()))
    {
        connection_->served_ = connection_->shared_from_this();
    }
    ~Answering()
    {
        if (connection_ != nullptr)
            proceed([](HttpConnection* connection) { connection->end(); });
    }
    Answering(const Answering&) = delete;
    Answering& operator=(const Answering&) = delete;

    void answer(Response&& response)
    {
        if (isOnLoop()) {
            proceed([&](HttpConnection* connection) {
                connection->compose(std::move(response));
                connection->write();
            });
            return;
        }
        try {
            connection_->compose(std::move(response));
            connection_->send();
        } catch (const std::bad_alloc&) {
            connection_->response_.fail();
        }
        proceed([](HttpConnection* connection) { connection->settle(); });
    }

private:
    bool isOnLoop() const { return guard_.get_executor().running_in_this_thread(); }

    /** Continues on the transport's thread, which alone may end the connection. */
    template <typename Step> void proceed(Step step)
    {
        const auto taken = [step, connection = std::exchange(connection_, nullptr)] {
            const auto self = std::move(connection->served_);
            self->attempt([&] { step(connection); });
        };
        if (isOnLoop()) {
            taken();
            return;
        }
        for (;;) {
            try {
                asio::post(guard_.get_executor(), taken);
                return;
            } catch (const std::bad_alloc&) {
                std::this_thread::sleep_for(MemoryPause);
            }
        }
    }

    HttpConnection* connection_;                // null when it has been answered
    asio::executor_work_guard<Executor> guard_; // keeps the event loop alive
};

void HttpConnection::serve()
{
    requestIsWhole_ = true;
    if (parser_->isTooLarge()) {
        fail(Fault::BodyTooLarge);
        return;
    }
    enter(State::Serving);
    service_->serve(parser_->head(), parser_->takeBody(),
                    [answering = std::make_shared<Answering>(this)](Response&& response) {
                        answering->answer(std::move(response));
                    });
}

void HttpConnection::fail(Fault fault)
{
    answer(service_->faultResponse(parser_->head(), fault));
}

void HttpConnection::answer(Response&& response)
{
    compose(std::move(response));
    lastMoment_.reset();
    write();
}

void HttpConnection::compose(Response&& response)
{
    const RequestHead& request = parser_->head();
    connections_->figures()->responses(response.status).add(1);
    isLast_ = !requestIsWhole_ || !request.isKeptAlive || connections_->isStopping() || connections_->isAwaited();
    const char* const connection = isLast_ ? "close" : request.isOld ? "keep-alive" : "";
    response_.compose(std::move(response), connection, request.method == "HEAD");
}

/** Continues after a send: sends the rest once the client accepts more, or moves on to what follows the response. */
void HttpConnection::settle()
{
    leaveBodyRoom(); // the body is gone; a client that does not take its response must not keep others waiting
    if (response_.hasFailed()) {
        end();
    } else if (response_.isSent()) {
        onWritten();
    } else {
        if (state_ == State::Writing)
            connections_->postponeUntaken(untakenPlace_);
        else
            untakenPlace_ = connections_->enterUntaken({this, response_.size()});
        enter(State::Writing, limits_.transfer);
        socket_.async_wait(Socket::wait_write, handler(State::Writing, [this](const ErrorCode&) { write(); }));
    }
}

/** Sends what the socket accepts of the response; settle() continues. */
void HttpConnection::send()
{
    connections_->figures()->sentBytes.add(static_cast<qint64>(response_.send(&socket_)));
}

void HttpConnection::write()
{
    send();
    settle();
}

void HttpConnection::onWritten()
{
    connections_->memory().noteFreed(response_.size());
    response_.clear();
    if (!isLast_)
        waitForRequest();
    else if (requestIsWhole_)
        end();
    else
        linger();
}

/**
 * Lets the client receive the response even while it is still sending: closing a socket with unread bytes resets the
 * connection, and the response is lost.
 */
void HttpConnection::linger()
{
    ErrorCode error;
    if (!lastMoment_) { // first call
        socket_.shutdown(Socket::shutdown_send, error);
        lastMoment_ = Clock::now() + limits_.transfer;
        input_.clear();
    }
    if (error || connections_->isStopping()) {
        end();
        return;
    }
    enter(State::Lingering, Linger);
    socket_.async_read_some(input_.prepare(Piece),
                            [self = shared_from_this()](const ErrorCode& failure, std::size_t size) {
                                self->connections_->figures()->receivedBytes.add(static_cast<qint64>(size));
                                if (self->state_ != State::Lingering)
                                    return;
                                if (failure)
                                    self->end();
                                else
                                    self->attempt([&] { self->linger(); });
                            });
}

} // namespace Http

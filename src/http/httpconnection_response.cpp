// How a connection answers: with the service's response to a request, or with an error for one that it could not read.
#include "http/httpconnection.h"

#include <boost/asio/executor_work_guard.hpp>
#include <boost/asio/post.hpp>

#include <chrono>
#include <utility>

namespace Http {

namespace asio = boost::asio;

namespace {

/** The time for a client to close, or to send more, after the last response on a connection. */
constexpr std::chrono::milliseconds Linger{5000};

} // namespace

void HttpConnection::serve()
{
    requestIsWhole_ = true;
    if (parser_->isTooLarge()) {
        fail(Fault::BodyTooLarge);
        return;
    }
    enter(State::Serving);
    // Until settle() nothing else uses the connection, so it is safe to send the response on any thread, which saves a
    // context switch. The guard keeps the event loop alive until then.
    service_->serve(parser_->head(), parser_->takeBody(),
                    [self = shared_from_this(),
                     guard = asio::make_work_guard(socket_.get_executor())](Response&& response) mutable {
                        self->compose(std::move(response));
                        if (guard.get_executor().running_in_this_thread()) {
                            self->write();
                            return;
                        }
                        self->send();
                        asio::post(guard.get_executor(), [self = std::move(self)] { self->settle(); });
                        guard.reset();
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
    if (response_.hasFailed()) {
        end();
    } else if (response_.isSent()) {
        onWritten();
    } else {
        enter(State::Writing, limits_.transfer);
        socket_.async_wait(Socket::wait_write, [self = shared_from_this()](const ErrorCode&) {
            if (self->state_ == State::Writing)
                self->write();
        });
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
    leaveBodyRoom();
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
                                    self->linger();
                            });
}

} // namespace Http

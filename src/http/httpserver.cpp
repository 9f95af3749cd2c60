#include "http/httpserver.h"

#include <boost/asio/post.hpp>

#include <cerrno>
#include <cstdio>
#include <exception>
#include <memory>
#include <new>
#include <utility>

namespace Http {

namespace asio = boost::asio;

namespace {

using asio::ip::tcp;

/** Between attempts to accept connections when there is no room. */
constexpr std::chrono::milliseconds Pause{100};
/** How long a connection may be idle before it may be closed to make room for others. */
constexpr std::chrono::milliseconds Patience{1000};

/** Whether accept() failed for a reason that affects only one connection. */
bool isOfOneClient(int error)
{
    switch (error) {
    case ECONNABORTED:
    case EINTR:
    case EPROTO:
    case EPERM:
    case ENETDOWN:
    case ENETUNREACH:
    case EHOSTDOWN:
    case EHOSTUNREACH:
    case ENOPROTOOPT:
    case EOPNOTSUPP:
        return true;
    default:
        return error == EAGAIN;
    }
}

/** Whether there are no descriptors or no memory for another connection. */
bool isShortage(int error)
{
    return error == EMFILE || error == ENFILE || error == ENOBUFS || error == ENOMEM;
}

void reportFailure(const std::exception& error)
{
    std::fprintf(stderr, "quorva-http: a connection failed: %s\n", error.what());
}

} // namespace

HttpServer::HttpServer(const HttpLimits& limits, HttpService* service, Crew* crew, TransportFigures* figures)
    : limits_(limits), service_(service), crew_(crew), connections_(limits, figures)
{}

int HttpServer::bind(int port)
{
    const tcp::endpoint endpoint(asio::ip::address_v4::loopback(), static_cast<unsigned short>(port));
    ErrorCode error;
    acceptor_.open(endpoint.protocol(), error);
    // SO_REUSEADDR: allows a port with connections in TIME_WAIT, but not one that another process listens on.
    if (!error)
        acceptor_.set_option(Acceptor::reuse_address(true), error);
    if (!error)
        acceptor_.bind(endpoint, error);
    if (!error)
        acceptor_.listen(Acceptor::max_listen_connections, error);
    if (!error)
        acceptor_.non_blocking(true, error);
    errno = error.value();
    return error ? -1 : acceptor_.local_endpoint().port();
}

bool HttpServer::run()
{
    waitForClient();
    crew_->run([this] { return step(); });
    errno = error_;
    return error_ == 0;
}

/** Handles one event; false if there will be no more. */
bool HttpServer::step()
{
    try {
        return loop_.run_one() > 0;
    } catch (const std::exception& error) { // out of memory; only this connection is lost
        reportFailure(error);
        return true;
    }
}

void HttpServer::endRun()
{
    asio::post(loop_, [this] {
        acceptor_.close();
        pause_.cancel();
        connections_.stop();
    });
}

void HttpServer::waitForClient()
{
    acceptor_.async_wait(Acceptor::wait_read, [this](const ErrorCode& error) {
        if (!connections_.isStopping())
            error ? fail(error.value()) : accept();
    });
}

void HttpServer::accept()
{
    try {
        acceptPending();
    } catch (const std::bad_alloc& error) {
        reportFailure(error);
        makeRoom();
    }
}

/** Accepts pending connections as far as there is room. */
void HttpServer::acceptPending()
{
    if (connections_.isFull()) {
        makeRoom();
        return;
    }
    while (!connections_.isFull()) {
        ErrorCode error;
        Socket socket(loop_.get_executor());
        acceptor_.accept(socket, error);
        if (error == asio::error::would_block)
            break;
        if (isShortage(error.value())) {
            makeRoom();
            return;
        }
        if (error && !isOfOneClient(error.value())) {
            fail(error.value());
            return;
        }
        if (error)
            continue;
        if (service_->admits(socket.native_handle()))
            begin(std::move(socket));
        else
            connections_.figures()->refused.add(1);
    }
    waitForClient();
}

void HttpServer::begin(Socket&& socket)
{
    ErrorCode ignored; // the client may be gone; reading fails then
    socket.non_blocking(true, ignored);
    socket.set_option(tcp::no_delay(true), ignored); // a response is sent as a whole, delaying gains nothing
    try {
        std::make_shared<HttpConnection>(std::move(socket), limits_, service_, &connections_)->start();
    } catch (const std::exception& error) {
        reportFailure(error);
    }
}

/** While connections are pending: closes idle ones, and retries when one has been closed, and periodically. */
void HttpServer::makeRoom()
{
    connections_.waitForRoom([this] {
        pause_.cancel();
        asio::post(loop_, [this] {
            if (!connections_.isStopping())
                accept();
        });
    });
    connections_.endIdle(Patience);
    pause_.expires_after(Pause);
    pause_.async_wait([this](const ErrorCode& error) {
        if (!error && connections_.isAwaited() && !connections_.isStopping())
            accept();
    });
}

void HttpServer::fail(int error)
{
    error_ = error;
    loop_.stop();
}

} // namespace Http

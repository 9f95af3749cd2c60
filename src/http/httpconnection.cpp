// A connection's life and states, and how it reads a request; httpconnection_body.cpp has what concerns bodies, and
// httpconnection_response.cpp answers.
#include "http/httpconnection.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>

#include <algorithm>
#include <string_view>
#include <utility>

namespace Http {

namespace asio = boost::asio;

namespace {

using std::chrono::milliseconds;

/** The time for a partially received request to complete when the program ends. */
constexpr milliseconds Grace{1000};

constexpr std::size_t BodyPiece = 65536;

} // namespace

HttpConnection::HttpConnection(Socket&& socket, const HttpLimits& limits, HttpService* service,
                               Connections* connections)
    : limits_(limits), service_(service), connections_(connections), socket_(std::move(socket)),
      deadline_(socket_.get_executor()), input_(limits.request.head + BodyPiece), place_(connections->add(this))
{}

HttpConnection::~HttpConnection()
{
    end();
    connections_->remove(place_);
}

void HttpConnection::end()
{
    enter(State::Ended);
    deadline_.cancel();
    leaveBodyRoom();
    ErrorCode ignored; // the client may be gone
    socket_.close(ignored);
}

void HttpConnection::stop()
{
    switch (state_) {
    case State::Idle:
        if (!hasInput()) {
            ErrorCode ignored;
            socket_.cancel(ignored); // ends the connection, unless it has already read something
        }
        break;
    case State::Reading:
    case State::Queued:
    case State::Inviting:
        enter(state_, Grace);
        break;
    case State::Lingering:
        end();
        break;
    case State::Serving:
    case State::Writing:
    case State::Ended:
        break;
    }
}

bool HttpConnection::isIdleSince(milliseconds time) const
{
    return state_ == State::Idle && Clock::now() - since_ >= time;
}

void HttpConnection::enter(State state)
{
    if (state_ == State::Idle && state != State::Idle)
        connections_->leaveIdle(place_);
    if (state_ == State::Queued && state != State::Queued)
        connections_->leaveBodyQueue(this);
    if (state_ == State::Writing && state != State::Writing)
        connections_->leaveUntaken(untakenPlace_);
    state_ = state;
    deadline_.clear();
}

/** The same for a state with a time limit: onTimeout() is called unless another state is entered first. */
void HttpConnection::enter(State state, milliseconds limit)
{
    enter(state);
    since_ = Clock::now();
    if (connections_->isStopping() && state != State::Writing && !lastMoment_)
        lastMoment_ = since_ + Grace;
    deadline_.set(lastMoment_ ? std::min(since_ + limit, *lastMoment_) : since_ + limit, this);
}

void HttpConnection::onTimeout()
{
    const bool isInBody = (state_ == State::Reading || state_ == State::Queued) && parser_->hasHead();
    if (isInBody) {
        ErrorCode ignored; // there may be no pending operation
        socket_.cancel(ignored);
        attempt([this] { fail(Fault::BodyBroken); });
    } else if (state_ != State::Serving) {
        end();
    }
}

bool HttpConnection::hasInput()
{
    ErrorCode ignored; // on error there is no input
    return socket_.available(ignored) > 0;
}

void HttpConnection::waitForRequest()
{
    parser_.emplace(limits_.request);
    requestIsWhole_ = false;
    if (input_.size() > 0) {
        beginPiece();
        // Lets other connections go first: a client may send many requests at once.
        asio::post(socket_.get_executor(), handler(State::Reading, [this] { parse(); }));
        return;
    }
    if (connections_->isStopping() && !hasInput()) {
        end();
        return;
    }
    if (input_.capacity() > FirstPiece)
        input_.shrink_to_fit(); // there may be many idle clients
    const auto room = input_.prepare(FirstPiece);
    connections_->enterIdle(place_);
    enter(State::Idle, limits_.keepAlive);
    socket_.async_read_some(room, handler(State::Idle, [this](const ErrorCode& error, std::size_t size) {
                                enter(State::Reading, limits_.transfer);
                                onRead(error, size);
                            }));
}

/** Starts the time for the next bytes of the request. */
void HttpConnection::beginPiece()
{
    pieceBytes_ = 0;
    enter(State::Reading, limits_.transfer);
}

void HttpConnection::read()
{
    // A few bytes do not postpone the deadline, or a client could keep its connection, and room for a body, forever.
    if (state_ != State::Reading || pieceBytes_ >= BodyPiece)
        beginPiece();
    const std::size_t piece = parser_->hasHead() ? BodyPiece : Piece;
    socket_.async_read_some(
        input_.prepare(std::min(piece, input_.max_size() - input_.size())),
        handler(State::Reading, [this](const ErrorCode& error, std::size_t size) { onRead(error, size); }));
}

void HttpConnection::onRead(const ErrorCode& error, std::size_t size)
{
    if (!error) {
        connections_->figures()->receivedBytes.add(static_cast<qint64>(size));
        input_.commit(size);
        pieceBytes_ += size;
        parse();
    } else if (parser_->hasHead()) {
        fail(Fault::BodyBroken);
    } else {
        end();
    }
}

/** Parses the received input, up to the end of the request; reads more if it is incomplete. */
void HttpConnection::parse()
{
    const bool hadHead = parser_->hasHead();
    input_.consume(parser_->parse({static_cast<const char*>(input_.data().data()), input_.size()}));
    if (parser_->fault())
        fail(*parser_->fault());
    else if (parser_->hasHead() && !hadHead && !beginBody())
        return;
    else if (parser_->hasHead() && !hadHead && !parser_->isWhole() && input_.size() > 0)
        parse();
    else
        goOn();
}

/** Continues after what was parsed: serves the request or reads more of it, once there is room for its body. */
void HttpConnection::goOn()
{
    if (!hasRoomForBody()) {
        enter(State::Queued);
        connections_->queueForBodyRoom(shared_from_this(), neededRoom());
    } else if (parser_->isWhole()) {
        serve();
    } else {
        read();
    }
}

} // namespace Http

// How a connection admits a request's body: by its head, by an invitation, and by the room for large ones.
#include "http/httpconnection.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/post.hpp>
#include <boost/asio/write.hpp>

#include <cstddef>
#include <string_view>
#include <utility>

namespace Http {

namespace asio = boost::asio;

namespace {

constexpr std::size_t LargeBody = 65536;

} // namespace

/** Returns false if the rest of the request must not be read yet. */
bool HttpConnection::beginBody()
{
    if (std::optional<Response> refusal = service_->refuse(parser_->head()))
        answer(std::move(*refusal));
    else if (parser_->isTooLong())
        fail(Fault::BodyTooLarge);
    else if (parser_->expectsContinue() && !parser_->isWhole())
        inviteBody();
    else
        return true;
    return false;
}

void HttpConnection::inviteBody()
{
    static constexpr std::string_view Invitation = "HTTP/1.1 100 Continue\r\n\r\n";
    enter(State::Inviting, limits_.transfer);
    asio::async_write(socket_, asio::buffer(Invitation),
                      [self = shared_from_this()](const ErrorCode& error, std::size_t size) {
                          self->connections_->figures()->sentBytes.add(static_cast<qint64>(size));
                          if (self->state_ != State::Inviting)
                              return;
                          self->attempt([&] {
                              if (error)
                                  self->end();
                              else if (self->input_.size() > 0)
                                  self->parse();
                              else
                                  self->read();
                          });
                      });
}

/**
 * The room that the body needs, 0 if it is small. It is reserved when the first large piece has arrived, or, as a few
 * bytes may be packed that decompress to the limit, before the request is served.
 */
std::size_t HttpConnection::neededRoom() const
{
    const bool isLarge = parser_->bodySize() > LargeBody;
    return isLarge || (parser_->isWhole() && parser_->isPacked()) ? parser_->mostBodySize() : 0;
}

/** Limits how much memory large bodies take at once. */
bool HttpConnection::hasRoomForBody()
{
    const std::size_t needed = neededRoom();
    if (bodyRoom_ == 0 && needed > 0 && connections_->takeBodyRoom(needed))
        bodyRoom_ = needed;
    return bodyRoom_ >= needed;
}

void HttpConnection::leaveBodyRoom()
{
    if (bodyRoom_ > 0)
        connections_->giveBodyRoom(std::exchange(bodyRoom_, 0));
}

void HttpConnection::enterBodyRoom(std::size_t bytes)
{
    bodyRoom_ = bytes;
    // Not immediately: this connection may be waiting after others, and be called by the one that made room. For the
    // same reason a lack of memory is not the caller's concern.
    try {
        asio::post(socket_.get_executor(), handler(State::Queued, [this] { goOn(); }));
    } catch (const std::bad_alloc&) {
        end();
    }
}

} // namespace Http

#ifndef QUORVA_HTTP_OUTGOINGRESPONSE_H
#define QUORVA_HTTP_OUTGOINGRESPONSE_H

#include "http/asynctypes.h"
#include "http/message.h"

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/beast/core/buffers_suffix.hpp>

#include <array>
#include <string>
#include <string_view>

namespace Http {

/**
 * A response on its way to the client: head and body, and how much of them has been sent. Reused for one response after
 * another. For one thread at a time.
 */
class OutgoingResponse {
public:
    OutgoingResponse() = default;
    OutgoingResponse(const OutgoingResponse&) = delete;
    OutgoingResponse& operator=(const OutgoingResponse&) = delete;

    /**
     * Replaces the previous response. `connection` is the value of the Connection header, empty for none. With
     * `headOnly` the body is not sent, only its length.
     */
    void compose(Response&& response, std::string_view connection, bool headOnly);

    /** Sends as much as the socket, which must not block, accepts. Returns the number of bytes. */
    std::size_t send(Socket* socket);

    /** Counts as a failed send(). */
    void fail() { error_ = boost::asio::error::no_memory; }
    /** Whether the latest send() failed for any reason but a full socket buffer. */
    bool hasFailed() const;
    bool isSent() const;
    /** Of the body, in bytes. */
    std::size_t size() const { return static_cast<std::size_t>(response_.body.size()); }

    /** Frees the response's memory. */
    void clear() { response_ = {}; }

private:
    Response response_;
    std::string head_;
    boost::beast::buffers_suffix<std::array<boost::asio::const_buffer, 2>> unsent_; // of head and body
    ErrorCode error_;
};

} // namespace Http

#endif

#include "http/outgoingresponse.h"

#include <boost/beast/http/status.hpp>

#include <algorithm>
#include <utility>

namespace Http {

namespace asio = boost::asio;

namespace {

bool isPlainText(const std::string& text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

std::string_view reasonOf(const Response& response)
{
    if (!response.reason.empty() && isPlainText(response.reason))
        return response.reason;
    const auto reason = boost::beast::http::obsolete_reason(static_cast<boost::beast::http::status>(response.status));
    return {reason.data(), reason.size()};
}

void appendHeader(std::string_view name, std::string_view value, std::string* head)
{
    head->append(name).append(": ").append(value).append("\r\n");
}

/** The status line and the headers; `connection` is the value of the Connection header, empty for none. */
void appendHead(const Response& response, std::string_view connection, std::string* head)
{
    head->append("HTTP/1.1 ").append(std::to_string(response.status)).append(" ");
    head->append(reasonOf(response)).append("\r\n");
    if (!connection.empty())
        appendHeader("Connection", connection, head);
    appendHeader("Content-Length", std::to_string(response.body.size()), head);
    for (const ResponseHeader& header : response.headers)
        appendHeader(header.name, header.value, head);
    head->append("\r\n");
}

} // namespace

void OutgoingResponse::compose(Response&& response, std::string_view connection, bool headOnly)
{
    response_ = std::move(response);
    head_.clear(); // keeps its memory for the next one
    appendHead(response_, connection, &head_);
    const std::size_t bodySize = headOnly ? 0 : static_cast<std::size_t>(response_.body.size());
    unsent_ = boost::beast::buffers_suffix<std::array<asio::const_buffer, 2>>(
        {asio::buffer(head_), asio::const_buffer(response_.body.constData(), bodySize)});
}

std::size_t OutgoingResponse::send(Socket* socket)
{
    const std::size_t sent = socket->write_some(unsent_, error_);
    unsent_.consume(sent);
    return sent;
}

bool OutgoingResponse::hasFailed() const
{
    return error_ && error_ != asio::error::would_block;
}

bool OutgoingResponse::isSent() const
{
    return asio::buffer_size(unsent_) == 0;
}

} // namespace Http

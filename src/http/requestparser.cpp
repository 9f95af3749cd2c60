#include "http/requestparser.h"

#include "http/contentcoding.h"

#include <algorithm>
#include <limits>
#include <new>

#include <strings.h>

namespace Http {

namespace http = boost::beast::http;

namespace {

std::string stringOf(boost::beast::string_view text)
{
    return {text.data(), text.size()};
}

constexpr std::size_t UsualHeaders = 12; // as many as most clients send

bool isNumber(boost::beast::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= '0' && c <= '9'; });
}

} // namespace

RequestParser::RequestParser(const RequestLimits& limits) : limits_(limits)
{
    header_limit(static_cast<std::uint32_t>(limits.head));
    // Bodies that are too large are read as well, so that the client gets to read the response.
    body_limit(std::numeric_limits<std::uint64_t>::max());
}

std::size_t RequestParser::parse(std::string_view bytes)
{
    std::size_t taken = 0;
    const bool hadHead = hasHead_;
    ErrorCode error;
    try {
        // cppcheck-suppress knownConditionTrueFalse ; put() sets hasHead_
        while (!error && bytes.size() - taken >= leastPiece() && !isWhole() && hasHead_ == hadHead)
            taken += put(boost::asio::const_buffer(bytes.data() + taken, bytes.size() - taken), error);
    } catch (const std::bad_alloc&) {
        fault_ = Fault::NoMemory;
        return taken;
    }
    const std::string_view rest = bytes.substr(taken);
    // The library does not limit chunk headers and trailers.
    const bool isEndless = error == http::error::need_more && hasHead_ && rest.size() >= limits_.head;
    if (error && (error != http::error::need_more || isEndless))
        fault_ = faultOf(error, rest);
    return taken;
}

/** The library relies on receiving the end of a chunked body, "0\r\n\r\n", in one piece. */
std::size_t RequestParser::leastPiece() const
{
    constexpr std::size_t LastChunk = sizeof "0\r\n\r\n" - 1;
    return hasHead_ && chunked() ? LastChunk : 1;
}

bool RequestParser::expectsContinue() const
{
    const std::string_view value = head_.header("Expect");
    constexpr std::string_view Wish = "100-continue";
    return value.size() == Wish.size() && strncasecmp(value.data(), Wish.data(), Wish.size()) == 0;
}

bool RequestParser::isTooLong() const
{
    return content_length().value_or(0) > limits_.body;
}

bool RequestParser::isPacked() const
{
    return ContentCoding::isKnown(head_.header("Content-Encoding"));
}

std::size_t RequestParser::mostBodySize() const
{
    return isPacked() ? limits_.body : content_length().value_or(limits_.body);
}

Fault RequestParser::faultOf(ErrorCode error, std::string_view rest) const
{
    if (hasHead_)
        return Fault::BodyBroken;
    if (error == http::error::bad_content_length || error == http::error::bad_transfer_encoding)
        return Fault::BadLength;
    const bool endsNowhere =
        error == http::error::header_limit && rest.substr(0, limits_.line).find('\n') == std::string_view::npos;
    if (!hasLine_ && (error == http::error::buffer_overflow || endsNowhere))
        return Fault::LineTooLong;
    return Fault::NotHttp;
}

std::size_t RequestParser::keep(Text bytes)
{
    isTooLarge_ = isTooLarge_ || bytes.size() > limits_.body - bodySize();
    if (isTooLarge_)
        body_ = {};
    else
        body_.append(bytes.data(), static_cast<qsizetype>(bytes.size()));
    return bytes.size();
}

void RequestParser::on_request_impl(http::verb verb, Text method, Text target, int version, ErrorCode& error)
{
    constexpr std::size_t Rest = sizeof "  HTTP/1.1\r\n" - 1;
    if (method.size() + target.size() + Rest > limits_.line) {
        error = http::error::buffer_overflow;
        return;
    }
    hasLine_ = true;
    if (verb == http::verb::unknown) {
        error = http::error::bad_method;
        return;
    }
    head_.method = stringOf(method);
    head_.target = stringOf(target);
    head_.isOld = version == 10;
    head_.headers.reserve(UsualHeaders);
}

void RequestParser::on_field_impl(http::field field, Text name, Text value, ErrorCode& error)
{
    constexpr std::size_t Rest = sizeof ": \r\n" - 1;
    if (name.size() + value.size() + Rest > limits_.line)
        error = http::error::header_limit;
    if (hasHead_) // a trailer of a chunked body: ignored
        return;
    // The library accepts a repeated length, and transfer codings that we do not decode.
    if (field == http::field::content_length && (!isNumber(value) || head_.count("Content-Length") > 0))
        error = http::error::bad_content_length;
    if (field == http::field::transfer_encoding && !boost::beast::iequals(value, "chunked"))
        error = http::error::bad_transfer_encoding;
    if (!value.empty())
        head_.headers.push_back({stringOf(name), stringOf(value)});
}

void RequestParser::on_header_impl(ErrorCode&)
{
    hasHead_ = true;
    head_.isKeptAlive = keep_alive();
}

} // namespace Http

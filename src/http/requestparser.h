#ifndef QUORVA_HTTP_REQUESTPARSER_H
#define QUORVA_HTTP_REQUESTPARSER_H

#include "http/httplimits.h"
#include "http/httpservice.h"

#include <boost/beast/http/basic_parser.hpp>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

namespace Http {

/** Parses one request. The grammar is the library's, the limits are ours. For one thread. */
class RequestParser : private boost::beast::http::basic_parser<true> {
public:
    explicit RequestParser(const RequestLimits& limits);

    /**
     * Parses received bytes and returns how many were consumed. Stops after the head, and after the request; otherwise
     * the rest must be passed again with more bytes appended. Must not be called after a fault.
     */
    std::size_t parse(std::string_view bytes);

    bool hasBegun() const { return got_some(); }
    bool hasHead() const { return hasHead_; }
    bool isWhole() const { return hasHead_ && is_done(); }
    std::optional<Fault> fault() const { return fault_; }

    /** Valid once hasHead(), like the next two. */
    const RequestHead& head() const { return head_; }
    bool expectsContinue() const;
    /** Whether the headers announce a body beyond the limit. */
    bool isTooLong() const;

    /** A chunked body beyond the limit is read to its end, but not kept. */
    bool isTooLarge() const { return isTooLarge_; }
    std::size_t bodySize() const { return static_cast<std::size_t>(body_.size()); }
    /** The body is compressed in a known way. */
    bool isPacked() const;
    /** How large the body may become, once it is decompressed: the limit unless the headers say it. */
    std::size_t mostBodySize() const;
    /** Valid once isWhole(). */
    QByteArray takeBody() { return std::move(body_); }

private:
    using ErrorCode = boost::beast::error_code;
    using Text = boost::beast::string_view;

    Fault faultOf(ErrorCode error, std::string_view rest) const;
    std::size_t leastPiece() const;
    std::size_t keep(Text bytes);

    void on_request_impl(boost::beast::http::verb, Text method, Text target, int version, ErrorCode& error) override;
    void on_response_impl(int, Text, int, ErrorCode&) override {}
    void on_field_impl(boost::beast::http::field, Text name, Text value, ErrorCode& error) override;
    void on_header_impl(ErrorCode& error) override;
    void on_body_init_impl(const boost::optional<std::uint64_t>&, ErrorCode&) override {}
    std::size_t on_body_impl(Text bytes, ErrorCode&) override { return keep(bytes); }
    void on_chunk_header_impl(std::uint64_t, Text, ErrorCode&) override {}
    std::size_t on_chunk_body_impl(std::uint64_t, Text bytes, ErrorCode&) override { return keep(bytes); }
    void on_finish_impl(ErrorCode&) override {}

    const RequestLimits& limits_;
    RequestHead head_;
    QByteArray body_;
    std::optional<Fault> fault_;
    bool hasLine_ = false;
    bool hasHead_ = false;
    bool isTooLarge_ = false;
};

} // namespace Http

#endif

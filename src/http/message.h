#ifndef QUORVA_HTTP_MESSAGE_H
#define QUORVA_HTTP_MESSAGE_H

#include <QByteArray>

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Http {

struct Header {
    std::string name; // as received; compared case-insensitively
    std::string value;
};

/** A request without its body. Headers without a value are omitted. */
struct RequestHead {
    std::string method;
    std::string target; // path and query, as received
    std::vector<Header> headers;
    bool isKeptAlive = false; // the client wants to use its connection again
    bool isOld = false;       // HTTP/1.0

    /** The first value of a header; empty if missing. */
    std::string_view header(std::string_view name) const;
    std::size_t count(std::string_view name) const;
};

/** The statuses of quorva-http itself; others come from the server. */
enum ResponseStatus : int {
    Ok = 200,
    BadRequest = 400,
    Forbidden = 403,
    NotFound = 404,
    MethodNotAllowed = 405,
    PayloadTooLarge = 413,
    UriTooLong = 414,
    InternalError = 500,
    BadGateway = 502,
    ServiceUnavailable = 503,
    GatewayTimeout = 504,
};

struct ResponseHeader {
    std::string_view name; // a literal
    std::string value;
};

struct Response {
    int status = 0;
    std::string reason;                  // reason phrase; if empty or not plain text, the standard one is sent
    std::vector<ResponseHeader> headers; // without Content-Length and Connection, which the transport sets
    QByteArray body;
};

} // namespace Http

#endif

#ifndef QUORVA_HTTP_HTTPLIMITS_H
#define QUORVA_HTTP_HTTPLIMITS_H

#include <chrono>
#include <cstddef>

namespace Http {

/** How many bytes a request may have. */
struct RequestLimits {
    std::size_t line = 8192;  // the request's line, or the line of a header
    std::size_t head = 65536; // all these lines; also those between and behind the chunks of a body
    std::size_t body = 0;     // as it comes, packed or not
};

/** What clients may use up. */
struct HttpLimits {
    RequestLimits request;
    std::size_t connections = 0;           // open at once; more wait until they are accepted
    std::size_t largeBodies = 0;           // of more than 64 KiB, that are received or served at once; more wait
    std::chrono::milliseconds keepAlive{}; // for the next request of a connection to begin
    std::chrono::milliseconds transfer{};  // for the next bytes of a request, or to take some of an answer
};

} // namespace Http

#endif

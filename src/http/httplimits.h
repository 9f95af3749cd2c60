#ifndef QUORVA_HTTP_HTTPLIMITS_H
#define QUORVA_HTTP_HTTPLIMITS_H

#include <chrono>
#include <cstddef>

namespace Http {

/** Limits on the size of a request, in bytes. */
struct RequestLimits {
    std::size_t line = 8192;  // the request line, or one header line
    std::size_t head = 65536; // all these lines; also chunk headers and trailers
    std::size_t body = 0;     // as received, compressed or not
};

/** Limits on what clients may use. */
struct HttpLimits {
    RequestLimits request;
    std::size_t connections = 0;           // open at once; more wait to be accepted
    std::size_t largeBodyBytes = 0;        // of bodies over 64 KiB, received or served at once; more wait
    std::size_t untakenBytes = 0;          // of responses that clients do not take; then the slowest are closed
    std::chrono::milliseconds keepAlive{}; // for the next request on a connection to begin
    std::chrono::milliseconds transfer{};  // for 64 KiB of a request, or its rest, or to accept some of a response
};

} // namespace Http

#endif

#ifndef QUORVA_HTTP_HTTPSERVICE_H
#define QUORVA_HTTP_HTTPSERVICE_H

#include "http/message.h"

#include <functional>
#include <optional>

namespace Http {

/** What is wrong with a request at the HTTP level. */
enum class Fault {
    NotHttp,      // its head cannot be parsed
    LineTooLong,  // the request line
    BadLength,    // its headers do not give a valid length of the body
    BodyTooLarge, // larger than the limit
    BodyBroken,   // the body ended early, stalled, or does not match its headers
    NoMemory,     // for the body
};

/**
 * Answers requests, independent of connections. All calls except `done` run on the thread that runs the transport's
 * loop, for all connections: none may take long.
 */
class HttpService {
public:
    virtual ~HttpService() = default;

    /** Whether to serve a connection; called before anything is read from it. */
    virtual bool admits(int socket) = 0;

    /** The response to a request that is refused because of its head alone. The connection is closed after it. */
    virtual std::optional<Response> refuse(const RequestHead& head) = 0;

    /** The response to a faulty request; if the fault is in the head, that is incomplete. */
    virtual Response faultResponse(const RequestHead& head, Fault fault) = 0;

    /**
     * Answers a request by calling `done` once, from any thread. The body is as received, compressed or not. The head
     * remains valid until that call.
     */
    virtual void serve(const RequestHead& head, QByteArray&& body, std::function<void(Response&&)> done) = 0;
};

} // namespace Http

#endif

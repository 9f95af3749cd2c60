#ifndef QUORVA_HTTP_HTTPSERVICE_H
#define QUORVA_HTTP_HTTPSERVICE_H

#include "http/message.h"

#include <functional>
#include <optional>

namespace Http {

/** What is wrong with a request as HTTP. */
enum class Fault {
    NotHttp,      // its head cannot be read
    LineTooLong,  // the request's line
    BadLength,    // its headers do not say how long the body is
    BodyTooLarge, //
    BodyBroken,   // the body ended early, or paused for too long, or is not in the form that the headers say
    NoMemory,     // for the body
};

/**
 * What answers requests, and knows nothing of connections. Everything but the call to `done` happens on the thread that
 * runs the transport's loop, for all connections: nothing may take long.
 */
class HttpService {
public:
    virtual ~HttpService() = default;

    /** Whether a connection is served; asked before anything is read from it. */
    virtual bool admits(int socket) = 0;

    /** The answer to a request that is refused for its head alone. The connection ends with it. */
    virtual std::optional<Response> refuse(const RequestHead& head) = 0;

    /** The answer to what is no proper request. */
    virtual Response faultResponse(Fault fault) = 0;

    /**
     * Answers a request by one call of `done`, from any thread. The body is as it came, packed or not. The head stays
     * until that call.
     */
    virtual void serve(const RequestHead& head, QByteArray&& body, std::function<void(Response&&)> done) = 0;
};

} // namespace Http

#endif

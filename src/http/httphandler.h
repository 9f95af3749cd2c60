#ifndef QUORVA_HTTP_HTTPHANDLER_H
#define QUORVA_HTTP_HTTPHANDLER_H

#include "http/message.h"

#include <functional>
#include <optional>

namespace Http {

/**
 * Serves the paths that an HttpRouter assigns to it. The router has checked the user, the hosts, the path and the
 * method. All calls except `done` run on the thread that runs the transport's loop, for all connections: none may take
 * long.
 */
class HttpHandler {
public:
    virtual ~HttpHandler() = default;

    /** The response to a request that is refused because of its head alone, if it is. The connection is closed after
     * it. */
    virtual std::optional<Response> refuse(const RequestHead&) { return std::nullopt; }

    /**
     * Answers a request by calling `done` once, from any thread. The body is as received, compressed or not. The head
     * remains valid until that call. For HEAD, only the length of the response's body is sent.
     */
    virtual void serve(const RequestHead& head, QByteArray&& body, std::function<void(Response&&)> done) = 0;
};

} // namespace Http

#endif

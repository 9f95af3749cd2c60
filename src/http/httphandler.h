#ifndef QUORVA_HTTP_HTTPHANDLER_H
#define QUORVA_HTTP_HTTPHANDLER_H

#include "http/message.h"

#include <functional>
#include <optional>

namespace Http {

/**
 * One part of what a port serves, at paths that an HttpRouter has for it. The router has checked the user, the hosts,
 * the path and the method. All calls except `done` run on the thread that runs the transport's loop, for all
 * connections: none may take long.
 */
class HttpHandler {
public:
    virtual ~HttpHandler() = default;

    /** The response to a request that is refused because of its head alone, if it is. The connection ends with it. */
    virtual std::optional<Response> refuse(const RequestHead&) { return std::nullopt; }

    /**
     * Answers a request by one call of `done`, from any thread. The body is as received, compressed or not. The head
     * remains valid until that call. The body of a response to HEAD is not sent, only its length.
     */
    virtual void serve(const RequestHead& head, QByteArray&& body, std::function<void(Response&&)> done) = 0;
};

} // namespace Http

#endif

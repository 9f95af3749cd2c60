#ifndef QUORVA_HTTP_HTTPSERVER_H
#define QUORVA_HTTP_HTTPSERVER_H

#include "http/allowedhosts.h"
#include "http/gateway.h"
#include "http/httpconnection.h"
#include "peer/allowedusers.h"

#include <httplib.h>

#include <chrono>
#include <cstddef>
#include <latch>

namespace Http {

/** What clients may use up. */
struct HttpLimits {
    int threads = 0;                       // connections that are served at once
    std::size_t bodyBytes = 0;             // of a request, unpacked
    std::chrono::milliseconds keepAlive{}; // for the next request of a connection to begin
    std::chrono::milliseconds transfer{};  // for the next bytes of a request, or to take some of an answer
};

/**
 * Serves the API on a port of 127.0.0.1: POST / is handed to the gateway, everything else is refused. Reading and
 * writing HTTP is the library's work; the connections are ours, because the library's own loop leaves idle ones in
 * place when others wait, or when it is to end.
 */
class HttpServer : private httplib::Server {
public:
    /** The gateway and the users who may connect are the caller's and outlive this object. */
    HttpServer(const HttpLimits& limits, AllowedHosts hosts, Gateway* gateway, AllowedUsers* users);
    ~HttpServer() override;
    HttpServer(const HttpServer&) = delete;
    HttpServer& operator=(const HttpServer&) = delete;

    /** Takes a port, or with 0 any that is free. The port; -1 when it cannot be had, and errno tells why. */
    [[nodiscard]] int bind(int port);

    /** Serves until `stop`; false when the listening socket failed. Requests under way are answered before it returns.
     */
    [[nodiscard]] bool run();

    /** Ends `run`, or waits for it to begin and then ends it. Once, from any thread. */
    void endRun();

private:
    bool process_and_close_socket(socket_t socket) override;
    void serveConnection(HttpConnection* connection);
    bool isForeign(const httplib::Request& request, httplib::Response& response) const;
    void completeHeaders(httplib::Response* response);
    void answer(const httplib::Request& request, httplib::Response& response, const httplib::ContentReader& readBody);
    int expectBody(const httplib::Request& request, httplib::Response& response) const;

    const HttpLimits limits_;
    Gateway* const gateway_;
    AllowedUsers* const users_;
    AllowedHosts hosts_; // complete once the port is known
    const int stopping_; // eventfd, see ConnectionLimits
    Crowd crowd_;
    const ConnectionLimits connectionLimits_;
    std::latch running_{1};
};

} // namespace Http

#endif

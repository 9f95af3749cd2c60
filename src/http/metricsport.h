#ifndef QUORVA_HTTP_METRICSPORT_H
#define QUORVA_HTTP_METRICSPORT_H

#include "http/crew.h"
#include "http/httprouter.h"
#include "http/httpserver.h"

#include <thread>

namespace Http {

/**
 * A further port that serves figures and health alone, so that it can be open to every user of the machine. It has an
 * event loop on a thread of its own.
 */
class MetricsPort {
public:
    /** The caller owns the objects behind the pointers, which must outlive this one. */
    MetricsPort(const HttpLimits& limits, AllowedHosts hosts, HttpHandler* metrics, HttpHandler* health,
                TransportFigures* figures);
    /** Stops serving, after requests in progress have been answered. */
    ~MetricsPort();
    MetricsPort(const MetricsPort&) = delete;
    MetricsPort& operator=(const MetricsPort&) = delete;

    /** As HttpServer's. */
    [[nodiscard]] int bind(int port);
    /** Starts serving, after bind(). */
    void start();

private:
    AllowedUsers everybody_;
    HttpRouter router_;
    Crew crew_{0}; // the handlers need none
    HttpServer server_;
    std::thread thread_;
};

} // namespace Http

#endif

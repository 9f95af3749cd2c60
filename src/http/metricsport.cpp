#include "http/metricsport.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <utility>

namespace Http {

MetricsPort::MetricsPort(const HttpLimits& limits, AllowedHosts hosts, HttpHandler* metrics, HttpHandler* health,
                         TransportFigures* figures)
    : router_(std::move(hosts), &everybody_), server_(limits, &router_, &crew_, figures)
{
    router_.add("/metrics", {"GET", "HEAD"}, metrics);
    router_.add("/health", {"GET", "HEAD"}, health);
}

MetricsPort::~MetricsPort()
{
    server_.endRun();
    if (thread_.joinable())
        thread_.join();
}

int MetricsPort::bind(int port)
{
    const int bound = server_.bind(port);
    router_.setPort(bound);
    return bound;
}

void MetricsPort::start()
{
    thread_ = std::thread([this] {
        if (!server_.run()) // the other port continues to be served
            std::fprintf(stderr, "quorva-http: cannot accept connections any more: %s\n", std::strerror(errno));
    });
}

} // namespace Http

#ifndef QUORVA_HTTP_METRICSHANDLER_H
#define QUORVA_HTTP_METRICSHANDLER_H

#include "http/httphandler.h"
#include "http/statusprobe.h"
#include "http/transportfigures.h"

namespace Http {

/**
 * The figures of the server and of quorva-http, for Prometheus. A server that does not answer is not an error here: the
 * figure quorva_up shows it, so that the other figures remain and an alert can distinguish the two programs.
 */
class MetricsHandler : public HttpHandler {
public:
    /** The caller owns both, which must outlive this object. */
    MetricsHandler(StatusProbe* probe, const TransportFigures* figures) : probe_(probe), figures_(figures) {}

    void serve(const RequestHead& head, QByteArray&& body, std::function<void(Response&&)> done) override;

private:
    StatusProbe* const probe_;
    const TransportFigures* const figures_;
};

} // namespace Http

#endif

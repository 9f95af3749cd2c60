#ifndef QUORVA_HTTP_METRICSHANDLER_H
#define QUORVA_HTTP_METRICSHANDLER_H

#include "http/httphandler.h"
#include "http/statusprobe.h"
#include "http/transportfigures.h"

namespace Http {

/**
 * The figures of the server and of quorva-http, for Prometheus. A server that does not answer is no error here but
 * shown by the figure quorva_up, so that the other figures stay and an alert can tell the two programs apart.
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

#ifndef QUORVA_HTTP_HEALTHHANDLER_H
#define QUORVA_HTTP_HEALTHHANDLER_H

#include "http/httphandler.h"
#include "http/statusprobe.h"

namespace Http {

/** Whether the server answers, as a status: 200, or 503 with a sentence. For load balancers and supervisors. */
class HealthHandler : public HttpHandler {
public:
    /** The caller owns the probe, which must outlive this object. */
    explicit HealthHandler(StatusProbe* probe) : probe_(probe) {}

    void serve(const RequestHead& head, QByteArray&& body, std::function<void(Response&&)> done) override;

private:
    StatusProbe* const probe_;
};

} // namespace Http

#endif

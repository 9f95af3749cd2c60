#ifndef QUORVA_HTTP_APISERVICE_H
#define QUORVA_HTTP_APISERVICE_H

#include "http/allowedhosts.h"
#include "http/crew.h"
#include "http/gateway.h"
#include "http/httpservice.h"
#include "peer/allowedusers.h"

#include <cstddef>

namespace Http {

/**
 * The API as a service of HTTP: POST / is handed to the gateway, as a job of the crew for each request that is with the
 * server; everything else is refused.
 */
class ApiService : public HttpService {
public:
    /**
     * Bodies may have `bodyBytes` bytes when they are unpacked. What is handed over as a pointer is the caller's and
     * outlives this object.
     */
    ApiService(std::size_t bodyBytes, AllowedHosts hosts, Gateway* gateway, AllowedUsers* users, Crew* crew);

    /** Before anything is served. */
    void setPort(int port) { hosts_.setPort(port); }

    bool admits(int socket) override;
    std::optional<Response> refuse(const RequestHead& head) override;
    Response faultResponse(Fault fault) override;
    void serve(const RequestHead& head, QByteArray&& body, std::function<void(Response&&)> done) override;

private:
    std::optional<Response> refuseForeign(const RequestHead& head) const;
    Response answer(const RequestHead& head, const QByteArray& packed);

    const std::size_t bodyBytes_;
    AllowedHosts hosts_;
    Gateway* const gateway_;
    AllowedUsers* const users_;
    Crew* const crew_;
};

} // namespace Http

#endif

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
 * The API as an HTTP service: POST / goes to the gateway, with one job of the crew for each request that the server is
 * processing; everything else is refused.
 */
class ApiService : public HttpService {
public:
    /**
     * Bodies may have up to `bodyBytes` bytes after decompression. The caller owns the objects behind the pointers,
     * which must outlive this one.
     */
    ApiService(std::size_t bodyBytes, AllowedHosts hosts, Gateway* gateway, AllowedUsers* users, Crew* crew);

    /** To be called before anything is served. */
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

#ifndef QUORVA_HTTP_APISERVICE_H
#define QUORVA_HTTP_APISERVICE_H

#include "http/allowedhosts.h"
#include "http/gateway.h"
#include "http/httpservice.h"
#include "peer/allowedusers.h"

#include <boost/asio/thread_pool.hpp>

#include <cstddef>

namespace Http {

/** What may be asked of the service. */
struct ApiLimits {
    int threads = 0;           // requests that are with the server at once
    std::size_t bodyBytes = 0; // of a request, unpacked
};

/**
 * The API as a service of HTTP: POST / is handed to the gateway on one of its threads, one for each request that is
 * with the server; everything else is refused.
 */
class ApiService : public HttpService {
public:
    /** The gateway and the users who may connect are the caller's and outlive this object. */
    ApiService(const ApiLimits& limits, AllowedHosts hosts, Gateway* gateway, AllowedUsers* users);
    /** Waits for the requests that it serves. */
    ~ApiService() override;

    /** Before anything is served. */
    void setPort(int port) { hosts_.setPort(port); }

    bool admits(int socket) override;
    std::optional<Response> refuse(const RequestHead& head) override;
    Response faultResponse(Fault fault) override;
    void serve(const RequestHead& head, QByteArray&& body, std::function<void(Response&&)> done) override;

private:
    std::optional<Response> refuseForeign(const RequestHead& head) const;
    Response answer(const RequestHead& head, const QByteArray& packed);

    const ApiLimits limits_;
    AllowedHosts hosts_;
    Gateway* const gateway_;
    AllowedUsers* const users_;
    boost::asio::thread_pool workers_; // each waits for the server's reply to one request
};

} // namespace Http

#endif

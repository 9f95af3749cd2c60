#ifndef QUORVA_HTTP_APIHANDLER_H
#define QUORVA_HTTP_APIHANDLER_H

#include "api/service.h"
#include "http/crewhandler.h"
#include "http/gateway.h"
#include "http/serverexchanges.h"

#include <memory>

namespace Http {

class ApiExchange;

/**
 * Serves both versions of the API, by the prefix of their operations: that of 2012-08-10 through the service,
 * everything else through the gateway.
 *
 * A short request that takes a single exchange with the server needs no job, only ServerExchanges. If these cannot send
 * it at once, or if it turns out to need more, a job serves it like all others.
 */
class ApiHandler : public CrewHandler {
public:
    /** The caller owns the objects behind the pointers, which must outlive this one. */
    ApiHandler(std::size_t bodyBytes, Gateway* gateway, Api::Service* service, Crew* crew, ServerExchanges* exchanges)
        : CrewHandler(bodyBytes, crew), gateway_(gateway), service_(service), exchanges_(exchanges)
    {}

    void serve(const RequestHead& head, QByteArray&& body, Done done) override;

protected:
    Response answer(const RequestHead& head, const QByteArray& body) override;

private:
    struct Pending;

    std::unique_ptr<ApiExchange> exchangeFor(const RequestHead& head) const;
    bool trySend(const std::shared_ptr<Pending>& pending);
    void finish(const std::shared_ptr<Pending>& pending, ServerExchanges::Outcome&& outcome);

    Gateway* const gateway_;
    Api::Service* const service_;
    ServerExchanges* const exchanges_;
};

} // namespace Http

#endif

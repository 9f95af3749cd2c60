#ifndef QUORVA_HTTP_APIHANDLER_H
#define QUORVA_HTTP_APIHANDLER_H

#include "api/service.h"
#include "http/crewhandler.h"
#include "http/gateway.h"

namespace Http {

/**
 * Serves both versions of the API, by the prefix of their operations: that of 2012-08-10 through the service,
 * everything else through the gateway.
 */
class ApiHandler : public CrewHandler {
public:
    /** The caller owns the objects behind the pointers, which must outlive this one. */
    ApiHandler(std::size_t bodyBytes, Gateway* gateway, Api::Service* service, Crew* crew)
        : CrewHandler(bodyBytes, crew), gateway_(gateway), service_(service)
    {}

protected:
    Response answer(const RequestHead& head, const QByteArray& body) override;

private:
    Gateway* const gateway_;
    Api::Service* const service_;
};

} // namespace Http

#endif

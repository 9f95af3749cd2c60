#ifndef QUORVA_HTTP_CONSOLEHANDLER_H
#define QUORVA_HTTP_CONSOLEHANDLER_H

#include "http/consoletoken.h"
#include "http/crewhandler.h"
#include "http/gateway.h"

#include <string>
#include <vector>

namespace Http {

struct ConsoleSettings {
    std::string server;                   // its address, for people
    std::vector<std::string> directories; // shown even if they are not open
    bool mayWrite = false;
};

/**
 * The requests of the console's page: POST /console/api, which is like the API except for its own list of operations,
 * and GET /console/settings. Both need the token, as "Authorization: Bearer TOKEN". No cookie carries it: browsers send
 * cookies to every port of a host, and so to the programs of other users.
 */
class ConsoleHandler : public CrewHandler {
public:
    /** As for CrewHandler; the gateway and the token are owned by the caller, too. */
    ConsoleHandler(std::size_t bodyBytes, Gateway* gateway, Crew* crew, const ConsoleToken* token,
                   ConsoleSettings settings);

    std::optional<Response> refuse(const RequestHead& head) override;

protected:
    Response answer(const RequestHead& head, const QByteArray& body) override;

private:
    std::optional<Response> refuseUnconfined(const RequestHead& head) const;
    QByteArray settingsText() const;

    Gateway* const gateway_;
    const ConsoleToken* const token_;
    const ConsoleSettings settings_;
};

} // namespace Http

#endif

#ifndef QUORVA_API_SERVICE_H
#define QUORVA_API_SERVICE_H

#include "api/operation.h"
#include "api/request.h"
#include "api/server.h"
#include "api/tablecatalog.h"
#include "api/tablefigures.h"

#include <QByteArray>

#include <memory>
#include <string_view>

namespace Api {

/** Answers the API's requests, independent of the transport. Any thread. */
class Service {
public:
    /** What the header "X-Amz-Target" begins with. */
    static constexpr std::string_view Prefix = "DynamoDB_20120810.";

    /** The largest body of a request; the JSON tree of a body can take twenty times as much memory. */
    static constexpr qsizetype MostBytes = 16 * 1024 * 1024;

    Service(Server::Exchange exchange, Settings settings);
    Service(const Service&) = delete;
    Service& operator=(const Service&) = delete;

    /**
     * `name` is the operation's after the prefix, `host` the header of the client's request, `body` UTF-8. Waits for
     * the server.
     */
    Reply answer(std::string_view name, std::string_view host, const QByteArray& body);

    /**
     * The request, for a caller that does not wait for the server between its steps; null for an operation without
     * steps. `host` must outlive it.
     */
    std::unique_ptr<Request> prepare(std::string_view name, std::string_view host);

private:
    const Settings settings_;
    const Server server_;
    TableCatalog tables_{&server_, &settings_};
};

} // namespace Api

#endif

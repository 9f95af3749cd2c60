#ifndef QUORVA_TOOLS_SESSION_H
#define QUORVA_TOOLS_SESSION_H

#include "client/wireconnection.h"
#include "protocol/bodies.h"
#include "protocol/operations.h"
#include "tools/serveraddress.h"

#include <QByteArray>
#include <QString>
#include <QVariantMap>

#include <string>

namespace Ctl {

/** The names of a table's two key attributes. */
using TableKeys = Bodies::KeyNames;

/** The connection of a command that sends several requests. The first one opens it. */
class Session {
public:
    explicit Session(const ServerAddress& server) : server_(server) {}

    /**
     * ExitOk with a reply of success, ExitErrorReply with another, of which nothing has been told yet, ExitNoReply
     * without one, after telling why.
     */
    [[nodiscard]] int request(const Operations::Operation& operation, const QByteArray& body, QVariantMap* reply);
    [[nodiscard]] int request(const Operations::Operation& operation, const QVariantMap& body, QVariantMap* reply);

    /** The description of a table. An exit code; what is wrong, the name included, has been told. */
    [[nodiscard]] int describe(const std::string& table, QVariantMap* description);
    /** The key attributes of a table. Likewise. */
    [[nodiscard]] int readKeys(const std::string& table, TableKeys* keys);

    /**
     * Tells why DescribeTable answered Not Found: there is no such table, or the server cannot open its directory,
     * which an UpdateTable that changes nothing shows. An exit code.
     */
    [[nodiscard]] int complainNotFound(const std::string& table, const QVariantMap& reply);

private:
    const ServerAddress server_;
    Client::WireConnection connection_;
};

/**
 * Tells of a request that was answered Not Found because the server cannot open the table's directory, and of what can
 * be seen of the reason from here, which is on the server's machine. `failed` is what could not be done.
 */
void complainDirectory(const std::string& failed, const std::string& table, const QVariantMap& reply);

} // namespace Ctl

#endif

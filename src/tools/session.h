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
#include <utility>

namespace Ctl {

/** The connection of a command that sends several requests. The first one opens it. */
class Session {
public:
    explicit Session(ServerAddress server) : server_(std::move(server)) {}

    /**
     * Returns ExitOk after a success reply, ExitErrorReply after an error reply, which the caller has to report, and
     * ExitNoReply without a reply, after reporting why.
     */
    [[nodiscard]] int request(const Operations::Operation& operation, const QByteArray& body, QVariantMap* reply);
    [[nodiscard]] int request(const Operations::Operation& operation, const QVariantMap& body, QVariantMap* reply);

    /**
     * The two halves of a request, with the same results. Between them, the connection becomes readable when the reply
     * arrives.
     */
    [[nodiscard]] int send(const Operations::Operation& operation, const QByteArray& body);
    [[nodiscard]] int receive(QVariantMap* reply);
    int socketDescriptor() const { return connection_.socketDescriptor(); }

    /**
     * Reads the description of a table. Returns an exit code; errors, including an invalid name, have been reported.
     */
    [[nodiscard]] int describe(const std::string& table, QVariantMap* description);
    /** Reads the key attributes of a table, likewise. */
    [[nodiscard]] int readKeys(const std::string& table, KeyNames* keys);

    /**
     * Reports why DescribeTable answered Not Found: there is no such table, or the server cannot open its directory,
     * which an UpdateTable that changes nothing shows. Returns an exit code.
     */
    [[nodiscard]] int complainNotFound(const std::string& table, const QVariantMap& reply);

private:
    int failed();

    const ServerAddress server_;
    Client::WireConnection connection_;
};

/**
 * Reports a request that was answered Not Found because the server cannot open the table's directory, with the reason
 * as far as this process, on the server's machine, can determine it. `failed` says what could not be done.
 */
void complainDirectory(const std::string& failed, const std::string& table, const QVariantMap& reply);

} // namespace Ctl

#endif

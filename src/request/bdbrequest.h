#ifndef QUORVA_REQUEST_BDBREQUEST_H
#define QUORVA_REQUEST_BDBREQUEST_H

#include "records/requeststatus.h"
#include "records/tablecontext.h"

#include <QByteArray>
#include <QVariantMap>

/**
 * One request: what came from the client, the reply as it grows, and what it has open meanwhile. Owned by the
 * connection's handler, made anew for every request, used by one thread at a time.
 */
struct BDBRequest {
    /** `environments` is the server's registry, `connection` the connection's own table; both outlive the request. */
    BDBRequest(BDBObjTable* environments, BDBObjTable* connection, int tableCapacity)
        : table(environments, connection, tableCapacity)
    {}

    /** The body's "TableName" as bytes: UTF-8, as the file system has it. Empty when it is missing. */
    QByteArray tableName() const;

    int status = StatusSuccess;

    QByteArray operation; // the name of the message header
    QByteArray body;      // the JSON text
    QVariantMap parsedBody;
    QVariantMap reply;

    TableContext table;
};

namespace Requests {

/**
 * Runs the operation that the request's name asks for, on the calling (database pool) thread. Afterwards the request's
 * status is set and its reply map holds what the operation put there. An unknown name is one ERROR line and status 2.
 */
void dispatch(BDBRequest& request);

} // namespace Requests

#endif

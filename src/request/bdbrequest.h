#ifndef QUORVA_REQUEST_BDBREQUEST_H
#define QUORVA_REQUEST_BDBREQUEST_H

#include "records/requeststatus.h"
#include "records/tablecontext.h"

#include <QByteArray>
#include <QVariantMap>

/**
 * One request: the client's input, the reply under construction, and what the request has open. Owned by the
 * connection's handler, created for every request, used by one thread at a time.
 */
struct BDBRequest {
    /** `environments` is the server's registry, `connection` the connection's own table; both outlive the request. */
    BDBRequest(BDBObjTable* environments, BDBObjTable* connection, int tableCapacity)
        : table(environments, connection, tableCapacity)
    {}

    /** The body's "TableName" as bytes: UTF-8, as in the file system. Empty when it is missing. */
    QByteArray tableName() const;

    int status = StatusSuccess;

    QByteArray operation; // the name from the message header
    QByteArray body;      // the JSON text
    QVariantMap parsedBody;
    QVariantMap reply;

    TableContext table;
};

namespace Requests {

/**
 * Runs the operation that the request names, on the calling thread. Sets the request's status; the operation fills its
 * reply map. An unknown name is one ERROR line and status 2. Where the request's table only finds what is open, a
 * request that takes long has StatusTakesLong, and must be made anew to be run again.
 */
void dispatch(BDBRequest& request);

/**
 * False when the request is certain to take long, by its operation or by the size of its body, which need not be parsed
 * yet. A thread that others wait for tries no such request.
 */
bool mayBeShort(const BDBRequest& request);

} // namespace Requests

#endif

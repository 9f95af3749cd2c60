#ifndef QUORVA_REQUEST_BDBREQUEST_H
#define QUORVA_REQUEST_BDBREQUEST_H

#include "records/requeststatus.h"
#include "records/tablecontext.h"

#include <QByteArray>
#include <QVariantMap>

/**
 * One request: the client's input, the reply under construction, and what the request has open. Owned by the
 * connection's handler, which uses it for one request after the other; used by one thread at a time.
 */
struct BDBRequest {
    /** `environments` is the server's registry, `connection` the connection's own table; both outlive the request. */
    BDBRequest(BDBObjTable* environments, BDBObjTable* connection, int tableCapacity)
        : table(environments, connection, tableCapacity)
    {}

    /** Prepares it for the next request. Little memory is kept. */
    void reset();

    /** The body's "TableName" as bytes: UTF-8, as in the file system. Empty when it is missing. */
    QByteArray tableName() const;

    int status = StatusSuccess;

    QByteArray operation; // the name from the message header
    QByteArray body;      // the JSON text
    QVariantMap parsedBody;
    QVariantMap reply;
    QString message;         // of a reply that is an error, in place of the usual one of its status; empty: that one
    QVariantMap failedReply; // replaces it when what the operation has committed does not become durable

    TableContext table;
    EnvironmentUse environment; // that the operation has used; set at its end
};

#endif

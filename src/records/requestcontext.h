#ifndef QUORVA_RECORDS_REQUESTCONTEXT_H
#define QUORVA_RECORDS_REQUESTCONTEXT_H

#include "storage/bdbobjtable.h"
#include "storage/environmentuse.h"

#include <QByteArray>
#include <QVariantMap>

/**
 * The result of an operation. Berkeley DB's codes (negative) and errno values pass through the same integers; whatever
 * is not listed here is answered as an internal error.
 */
enum RequestStatus : int {
    StatusSuccess = 0,
    StatusConditionFailed = 1,
    StatusInternalError = 2, // also an unknown operation, a bad key, a bad schema
    StatusNotFound = 3,      // also an environment that is busy being deleted
    StatusInvalidRequest = 4
};

/**
 * One request: what came from the client, the reply as it grows, and what the layers below remember between steps.
 * Owned by the connection's handler, made anew for every request, used by one thread at a time.
 */
struct BDBRequest {
    /** `environments` is the server's registry, `connection` the connection's own table; both outlive the request. */
    BDBRequest(BDBObjTable* environments, BDBObjTable* connection, int tableCapacity)
        : envTableCapacity(tableCapacity), registry(environments), connectionTable(connection)
    {}

    int status = StatusSuccess;

    QByteArray operation; // the name of the message header
    QByteArray body;      // the JSON text
    QVariantMap parsedBody;
    QVariantMap reply;

    // The table's key schema, once loadSchema has checked it: copies of its two key elements.
    QVariantMap hashKeyElement;
    QVariantMap rangeKeyElement;
    bool schemaLoaded = false;

    const int envTableCapacity; // slots of an environment's table of database handles
    BDBObjTable* const registry;
    BDBObjTable* const connectionTable;

    // The environment that envLookup found last, kept from being destroyed until the request ends or drops it.
    QByteArray environmentDirectory; // as the request spelled it
    EnvironmentUse environment;
};

#endif

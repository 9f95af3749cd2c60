#ifndef QUORVA_REQUEST_BDBREQUEST_H
#define QUORVA_REQUEST_BDBREQUEST_H

#include "metrics/servercounters.h"
#include "records/requeststatus.h"
#include "records/tablecontext.h"
#include "request/requestbody.h"
#include "request/requesttrace.h"

#include <QByteArray>
#include <QVariantMap>

#include <cstddef>
#include <optional>

class ServerView;

/**
 * One request: the client's input, the reply under construction, and what the request has open. Owned by the
 * connection's handler, which reuses it for one request after another; used by one thread at a time.
 */
struct BDBRequest {
    /** The number of the operation of a request with an unknown name. */
    static constexpr std::size_t UnknownOperation = Metrics::MostOperations - 1;
    static constexpr std::size_t NotIdentified = Metrics::MostOperations;

    /**
     * `environments` is the server's registry, `connection` the connection's own table, `serverView` the view of the
     * server for a Status, if any; they outlive the request.
     */
    BDBRequest(BDBObjTable* environments, BDBObjTable* connection, int tableCapacity,
               const ServerView* serverView = nullptr)
        : table(environments, connection, tableCapacity), server(serverView)
    {}

    /** Prepares it for the next request. Keeps little memory. */
    void reset();

    /** For the report of a slow request: the keys of its item, and how many items it has processed. */
    void noteKeys(const QByteArray& hashKey, const QByteArray& rangeKey)
    {
        if (!trace)
            return;
        trace->hasKeys = true;
        trace->hashKey = hashKey;
        trace->rangeKey = rangeKey;
    }
    void noteItems(int items)
    {
        if (trace)
            trace->items = items;
    }

    /** The body's "TableName" as bytes: UTF-8, as in the file system. Empty when it is missing. */
    QByteArray tableName() const;

    int status = StatusSuccess;

    QByteArray operation;                        // the name from the message header
    std::size_t operationNumber = NotIdentified; // set by the dispatch, see Requests::operationName()
    QByteArray body;                             // the JSON text
    RequestBody parsedBody;
    QVariantMap reply;
    QString message;         // of an error reply, in place of its status's usual message; empty: the usual one
    QVariantMap failedReply; // sent instead when the operation's commits cannot be made durable

    TableContext table;
    EnvironmentUse environment; // the operation's; set at its end

    std::optional<RequestTrace> trace; // while slow requests are reported

    const ServerView* const server; // not owned; or null
};

#endif

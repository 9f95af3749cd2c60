#ifndef QUORVA_REQUEST_PAGEREQUEST_H
#define QUORVA_REQUEST_PAGEREQUEST_H

#include <QByteArray>
#include <QVariantMap>

class RequestBody;

/** What a Scan or a Query asks for. Pure; any thread. */

/** The parameters common to both operations. */
struct PageRequest {
    bool countOnly = false;
    int limit = 0; // records to examine
    QVariantList attributesToGet;
    bool hasStart = false; // there is an "ExclusiveStartKey", with these keys
    QByteArray startHash;
    QByteArray startRange;
};

/** The parameters of a Query. */
struct QueryRequest {
    PageRequest page;
    bool hasHashKey = true;
    QByteArray hashKey;
    bool forward = true;
    bool hasCondition = false;
    QVariantMap condition;
};

namespace Requests {

/** Reads the parameters of a Scan. 0, or the result of readElementKeys. */
[[nodiscard]] int readPage(const RequestBody& body, PageRequest* page);

/** Reads the parameters of a Query. 0, StatusInternalError with an ERROR line, or the result for a refused key. */
[[nodiscard]] int readQuery(const RequestBody& body, QueryRequest* query);

} // namespace Requests

#endif

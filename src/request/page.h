#ifndef QUORVA_REQUEST_PAGE_H
#define QUORVA_REQUEST_PAGE_H

#include "records/itemformatter.h"
#include "records/walks.h"

#include <QByteArray>
#include <QVariantMap>

struct BDBRequest;
class RequestBody;

/** The common parts of Scan and Query: reading the request for a page of items, and answering it. */

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

/**
 * The names of the table's key attributes. A description that cannot be loaded is StatusInternalError, with the reply
 * of answerNothing; otherwise schemaKeyNames' result, or StatusTakesLong.
 */
[[nodiscard]] int readKeyNames(BDBRequest& request, const QByteArray& tableName, const PageRequest& page,
                               bool withScannedCount, KeyNames* names);

/** The formatter that converts the records to the page's items. */
ItemFormatter formatterOf(const PageRequest& page, const KeyNames& names);

/** Fills the reply of a failed read. */
void answerNothing(BDBRequest& request, const PageRequest& page, bool withScannedCount);

void answerScan(BDBRequest& request, const PageRequest& page, const ScanResult& found, const QByteArray& items);
void answerQuery(BDBRequest& request, const QueryRequest& query, const QueryResult& found, const QByteArray& items);

} // namespace Requests

#endif

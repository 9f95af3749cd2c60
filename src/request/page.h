#ifndef QUORVA_REQUEST_PAGE_H
#define QUORVA_REQUEST_PAGE_H

#include "records/itemformatter.h"
#include "records/walks.h"

#include <QByteArray>
#include <QVariantMap>

struct BDBRequest;

/**
 * What Scan and Query have in common: a page of items at a time. Reading what the request asks for, and answering it.
 */

/** What both operations read from a request in the same way. */
struct PageRequest {
    bool countOnly = false;
    int limit = 0; // records to examine
    QVariantList attributesToGet;
    bool hasStart = false; // there is an "ExclusiveStartKey", with these keys
    QByteArray startHash;
    QByteArray startRange;
};

/** What a Query asks for. */
struct QueryRequest {
    PageRequest page;
    bool hasHashKey = true;
    QByteArray hashKey;
    bool forward = true;
    bool hasCondition = false;
    QVariantMap condition;
};

namespace Requests {

/** Reads what a Scan asks for. 0, or the result of readElementKeys. */
[[nodiscard]] int readPage(const QVariantMap& body, PageRequest* page);

/** Reads what a Query asks for. 0, StatusInternalError with an ERROR line, or the result of a key that is refused. */
[[nodiscard]] int readQuery(const QVariantMap& body, QueryRequest* query);

/**
 * The names of the table's key attributes. A description that cannot be loaded is StatusInternalError, with the reply
 * of answerNothing; otherwise schemaKeyNames' result.
 */
[[nodiscard]] int readKeyNames(BDBRequest& request, const QByteArray& tableName, const PageRequest& page,
                               bool withScannedCount, KeyNames* names);

/** What makes the page's items out of the records. */
ItemFormatter formatterOf(const PageRequest& page, const KeyNames& names);

/** What a read that failed answers beside its status. */
void answerNothing(BDBRequest& request, const PageRequest& page, bool withScannedCount);

void answerScan(BDBRequest& request, const PageRequest& page, const ScanResult& found, const QByteArray& items);
void answerQuery(BDBRequest& request, const QueryRequest& query, const QueryResult& found, const QByteArray& items);

} // namespace Requests

#endif

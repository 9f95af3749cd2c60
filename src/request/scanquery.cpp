#include "request/scanquery.h"

#include "log/log.h"
#include "protocol/limits.h"
#include "records/encoding.h"
#include "records/walks.h"
#include "request/bdbrequest.h"
#include "request/page.h"
#include "storage/deadlockretry.h"
#include "json/jsontext.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace {

template <typename Attempt>
int retryWalk(const char* operation, const QByteArray& hash, const QByteArray& range, Attempt&& attempt)
{
    return Deadlocks::retry(attempt, [&](int backoff) {
        LOG_WARN << operation << " Got deadlock: retry " << backoff << " hkey " << hash << " rkey " << range;
    });
}

/** Adds the result of a later partition to the total. */
void add(ScanResult&& later, ScanResult* all)
{
    all->count += later.count;
    all->scanned += later.scanned;
    all->lastHash = std::move(later.lastHash);
    all->lastRange = std::move(later.lastRange);
}

QueryRange rangeOf(const QueryRequest& query)
{
    return {query.hashKey, query.page.startRange, query.page.limit, query.forward,
            query.hasCondition ? &query.condition : nullptr};
}

/** Kept: the empty hash key selects the first or last partition, not that of its digest, where PutItem stores it. */
unsigned partitionOf(const QueryRequest& query)
{
    if (query.hashKey.isEmpty())
        return query.forward ? 0 : PartitionCount - 1;
    return Records::partitionOf(query.hashKey, PartitionCount);
}

} // namespace

int Requests::scanTable(BDBRequest& request)
{
    TableContext& table = request.table;
    const QByteArray tableName = request.tableName();
    if (const int rc = table.openTable(tableName))
        return rc;
    PageRequest page;
    if (const int rc = readPage(request.parsedBody, &page))
        return rc;
    if (page.hasStart)
        request.noteKeys(page.startHash, page.startRange);
    KeyNames names;
    if (const int rc = readKeyNames(request, tableName, page, true, &names))
        return rc;

    const QVariantMap filter = request.parsedBody.value("ScanFilter"_L1).toMap();
    ScanRange range{page.startHash, page.startRange, page.limit, filter, page.countOnly};
    ItemFormatter format = formatterOf(page, names);
    QByteArray items;
    ScanResult all;
    // Kept: a start key with an empty hash key counts as none.
    unsigned partition = range.startHash.isEmpty() ? 0 : Records::partitionOf(range.startHash, PartitionCount);
    for (; partition < PartitionCount && all.lastHash.isEmpty(); ++partition) {
        BDBIndex* db = nullptr;
        if (const int rc = table.findPartition(tableName, partition, &db))
            return rc;
        ScanResult found;
        const int rc = retryWalk("scanTable", range.startHash, range.startRange, [&] {
            return Records::scanDb(table.transactions(), db, range, &format, &items, &found);
        });
        if (rc != 0) {
            answerNothing(request, page, true);
            return rc;
        }
        range.limit -= found.scanned;
        range.startHash.clear(); // the start is in the first partition; the others are walked from the beginning
        range.startRange.clear();
        add(std::move(found), &all);
        request.noteItems(all.scanned);
    }
    answerScan(request, page, all, items);
    return StatusSuccess;
}

int Requests::queryTable(BDBRequest& request)
{
    TableContext& table = request.table;
    const QByteArray tableName = request.tableName();
    if (const int rc = table.openTable(tableName))
        return rc;
    QueryRequest query;
    if (const int rc = readQuery(request.parsedBody, &query))
        return rc;
    if (!query.hasHashKey) {
        // Kept: a query without a hash key succeeds, with a reply in the form of another operation.
        request.reply.insert(u"Attributes"_s, QVariantMap());
        return StatusSuccess;
    }
    request.noteKeys(query.hashKey, query.page.startRange);
    if (table.onlyFinds() && query.page.limit > Limits::PageItems)
        return StatusTakesLong;
    KeyNames names;
    if (const int rc = readKeyNames(request, tableName, query.page, false, &names))
        return rc;
    BDBIndex* db = nullptr;
    if (const int rc = table.findPartition(tableName, partitionOf(query), &db))
        return rc;

    const QueryRange range = rangeOf(query);
    ItemFormatter format = formatterOf(query.page, names);
    QByteArray items;
    QueryResult found;
    const int rc = retryWalk("queryTable", range.hashKey, range.startRange, [&] {
        return Records::queryDb(table.transactions(), db, range, query.page.countOnly ? nullptr : &format, &items,
                                &found);
    });
    if (rc != 0) {
        answerNothing(request, query.page, false);
        return rc;
    }
    request.noteItems(found.count);
    answerQuery(request, query, found, items);
    return StatusSuccess;
}

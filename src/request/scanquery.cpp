#include "request/scanquery.h"

#include "log/log.h"
#include "protocol/limits.h"
#include "records/encoding.h"
#include "records/schema.h"
#include "records/walks.h"
#include "request/bdbrequest.h"
#include "request/pagerequest.h"
#include "request/requestkeys.h"
#include "storage/deadlockretry.h"
#include "json/jsontext.h"

#include <utility>

using namespace Qt::StringLiterals;

namespace {

/** Fills the reply of a failed read. */
void answerNothing(BDBRequest& request, const PageRequest& page, bool withScannedCount)
{
    request.reply.insert(u"Count"_s, 0);
    if (withScannedCount)
        request.reply.insert(u"ScannedCount"_s, 0);
    if (!page.countOnly)
        request.reply.insert(u"Items"_s, QVariantList());
}

void answerItems(BDBRequest& request, const PageRequest& page, int count, const QByteArray& items)
{
    request.reply.insert(u"Count"_s, count);
    if (!page.countOnly)
        request.reply.insert(u"Items"_s, QVariant::fromValue(Json::RawElements{items}));
}

/**
 * Kept: both elements are bare strings although ExclusiveStartKey expects {"S": ...}; clients wrap them before they
 * resume. Any other members of the request's start key are returned with them.
 */
void answerLastKey(BDBRequest& request, const QByteArray& hash, const QByteArray& range)
{
    QVariantMap key = request.parsedBody.value("ExclusiveStartKey"_L1).toMap();
    key.insert(u"HashKeyElement"_s, hash);
    if (!range.isEmpty())
        key.insert(u"RangeKeyElement"_s, range);
    request.reply.insert(u"LastEvaluatedKey"_s, key);
}

/**
 * Makes the formatter that converts records to the page's items, with the key attributes that the table's description
 * names. A description that cannot be loaded is StatusInternalError, with the reply of answerNothing; otherwise
 * schemaKeyNames' result, or StatusTakesLong.
 */
int makeFormatter(BDBRequest& request, const QByteArray& tableName, const PageRequest& page, bool withScannedCount,
                  ItemFormatter* format)
{
    QVariantMap description;
    const int loaded = Records::loadSchema(request.table, tableName, &description, true);
    if (loaded == StatusTakesLong)
        return loaded;
    if (loaded != 0) {
        answerNothing(request, page, withScannedCount);
        return StatusInternalError;
    }
    KeyNames names;
    if (const int rc = Requests::schemaKeyNames(description, &names.hash, &names.range))
        return rc;
    *format = ItemFormatter(std::move(names));
    if (!page.attributesToGet.isEmpty())
        format->keepOnly(page.attributesToGet);
    return StatusSuccess;
}

template <typename Attempt>
int retryWalk(const char* operation, const QByteArray& hash, const QByteArray& range, Attempt&& attempt)
{
    return Deadlocks::retry(attempt, [&](int backoff) {
        LOG_WARN << operation << " Got deadlock: retry " << backoff << " hkey " << hash << " rkey " << range;
    });
}

/** Kept: the empty hash key selects the first or last partition, not that of its digest, where PutItem stores it. */
unsigned partitionOf(const QueryRequest& query)
{
    if (query.hashKey.isEmpty())
        return query.forward ? 0 : PartitionCount - 1;
    return Records::partitionOf(query.hashKey, PartitionCount);
}

/** Walks the records of the hash key in the partition `db`, and answers with the items. */
int answerQuery(BDBRequest& request, const QueryRequest& query, BDBIndex* db, ItemFormatter* format)
{
    const QueryRange range{query.hashKey, query.page.startRange, query.page.limit, query.forward,
                           query.hasCondition ? &query.condition : nullptr};
    QByteArray items;
    QueryResult found;
    const int rc = retryWalk("queryTable", range.hashKey, range.startRange, [&] {
        return Records::queryDb(request.table.transactions(), db, range, query.page.countOnly ? nullptr : format,
                                &items, &found);
    });
    if (rc != 0) {
        answerNothing(request, query.page, false);
        return rc;
    }
    request.noteItems(found.count);
    if (!found.lastRange.isEmpty())
        answerLastKey(request, query.hashKey, found.lastRange);
    answerItems(request, query.page, found.count, items);
    return StatusSuccess;
}

/** Adds the result of a later partition to the total. */
void add(ScanResult&& later, ScanResult* all)
{
    all->count += later.count;
    all->scanned += later.scanned;
    all->lastHash = std::move(later.lastHash);
    all->lastRange = std::move(later.lastRange);
}

} // namespace

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
    ItemFormatter format;
    if (const int rc = makeFormatter(request, tableName, query.page, false, &format))
        return rc;
    BDBIndex* db = nullptr;
    if (const int rc = table.findPartition(tableName, partitionOf(query), &db))
        return rc;
    return answerQuery(request, query, db, &format);
}

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
    ItemFormatter format;
    if (const int rc = makeFormatter(request, tableName, page, true, &format))
        return rc;

    const QVariantMap filter = request.parsedBody.value("ScanFilter"_L1).toMap();
    ScanRange range{page.startHash, page.startRange, page.limit, filter, page.countOnly};
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
    if (!all.lastHash.isEmpty())
        answerLastKey(request, all.lastHash, all.lastRange);
    request.reply.insert(u"ScannedCount"_s, all.scanned);
    answerItems(request, page, all.count, items);
    return StatusSuccess;
}

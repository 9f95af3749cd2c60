#include "request/scanquery.h"

#include "log/log.h"
#include "protocol/limits.h"
#include "records/encoding.h"
#include "records/lists.h"
#include "records/lookup.h"
#include "records/schema.h"
#include "records/walks.h"
#include "request/opentable.h"
#include "request/requestkeys.h"
#include "storage/deadlockretry.h"

#include <algorithm>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

constexpr const char* LogOrigin = "bdbrequest";

/** What both operations read from a request in the same way. */
struct PageRequest {
    bool countOnly = false;
    int limit = Limits::PageItems;
    QVariantList attributesToGet;
    bool hasStart = false;
    QByteArray startHash;
    QByteArray startRange;
};

int limitOf(const QVariantMap& body)
{
    const auto limit = body.constFind(u"Limit"_s);
    if (limit == body.constEnd())
        return Limits::PageItems;
    // Below zero is as good as zero, and leaves a walk room to count down.
    return static_cast<int>(std::clamp<qlonglong>(limit->toLongLong(), 0, std::numeric_limits<int>::max()));
}

void readPageOptions(const QVariantMap& body, PageRequest* page)
{
    page->countOnly = body.value(u"Count"_s).toBool();
    page->limit = limitOf(body);
    page->attributesToGet = listOf(body.value(u"AttributesToGet"_s));
}

int readStartKey(const QVariantMap& body, PageRequest* page)
{
    const auto start = body.constFind(u"ExclusiveStartKey"_s);
    page->hasStart = start != body.constEnd();
    return page->hasStart ? readElementKeys(start->toMap(), &page->startHash, &page->startRange) : 0;
}

/** What a read that failed answers beside its status. */
void answerNothing(BDBRequest& request, const PageRequest& page, bool withScannedCount)
{
    request.reply.insert(u"Count"_s, 0);
    if (withScannedCount)
        request.reply.insert(u"ScannedCount"_s, 0);
    if (!page.countOnly)
        request.reply.insert(u"Items"_s, QVariantList());
}

/**
 * Kept: both elements are bare strings although ExclusiveStartKey wants {"S": ...}; clients wrap them before they
 * resume. Whatever else the request's start key held comes back with them.
 */
void answerLastKey(BDBRequest& request, const QByteArray& hash, const QByteArray& range)
{
    QVariantMap key = request.parsedBody.value(u"ExclusiveStartKey"_s).toMap();
    key.insert(u"HashKeyElement"_s, hash);
    if (!range.isEmpty())
        key.insert(u"RangeKeyElement"_s, range);
    request.reply.insert(u"LastEvaluatedKey"_s, key);
}

void answerItems(BDBRequest& request, const PageRequest& page, int count, const QByteArray& items)
{
    request.reply.insert(u"Count"_s, count);
    if (!page.countOnly)
        request.reply.insert(u"Items"_s, QVariant::fromValue(Json::RawElements{items}));
}

ItemFormatter formatterOf(const PageRequest& page, const KeyNames& names)
{
    ItemFormatter format(names);
    if (!page.attributesToGet.isEmpty())
        format.keepOnly(page.attributesToGet);
    return format;
}

/** The key names of the table; a schema that cannot be loaded is status 2 with empty counts. */
int readKeyNames(BDBRequest& request, const QByteArray& tableName, const PageRequest& page, bool withScannedCount,
                 KeyNames* names)
{
    QVariantMap description;
    if (loadSchema(request, tableName, &description, true) != 0) {
        answerNothing(request, page, withScannedCount);
        return StatusInternalError;
    }
    return schemaKeyNames(description, &names->hash, &names->range);
}

template <typename Attempt>
int retryWalk(const char* operation, const QByteArray& hash, const QByteArray& range, Attempt&& attempt)
{
    return retryOnDeadlock(attempt, [&](int backoff) {
        LOG_WARN << operation << " Got deadlock: retry " << backoff << " hkey " << hash << " rkey " << range;
    });
}

int openPartitionAt(BDBRequest& request, const QByteArray& tableName, unsigned partition, BDBIndex** db)
{
    return dbOpen(request, dataFileName(tableName, partition), DataSubDatabase, db);
}

} // namespace

int scanTable(BDBRequest& request)
{
    const QByteArray tableName = tableNameOf(request);
    EnvAccess access;
    if (const int rc = openTable(request, tableName, &access))
        return rc;
    PageRequest page;
    readPageOptions(request.parsedBody, &page);
    if (const int rc = readStartKey(request.parsedBody, &page))
        return rc;
    KeyNames names;
    if (const int rc = readKeyNames(request, tableName, page, true, &names))
        return rc;
    const QVariantMap filter = request.parsedBody.value(u"ScanFilter"_s).toMap();

    ItemFormatter format = formatterOf(page, names);
    ScanProgress progress;
    progress.limit = page.limit;
    progress.countOnly = page.countOnly;
    // Kept: a start key whose hash key is empty is none.
    unsigned partition = page.startHash.isEmpty() ? 0 : partitionOf(page.startHash, PartitionCount);
    for (; partition < PartitionCount && progress.lastHash.isEmpty(); ++partition) {
        BDBIndex* db = nullptr;
        if (const int rc = openPartitionAt(request, tableName, partition, &db))
            return rc;
        const int rc = retryWalk("scanTable", page.startHash, page.startRange, [&] {
            return scanDb(request, db, page.startHash, page.startRange, filter, &format, &progress);
        });
        if (rc != 0) {
            answerNothing(request, page, true);
            return rc;
        }
        page.startHash.clear(); // the start lies in the first partition; the others are walked from their beginning
        page.startRange.clear();
    }

    if (!progress.lastHash.isEmpty())
        answerLastKey(request, progress.lastHash, progress.lastRange);
    request.reply.insert(u"ScannedCount"_s, progress.scanned);
    answerItems(request, page, progress.count, progress.items);
    return StatusSuccess;
}

int queryTable(BDBRequest& request)
{
    const QByteArray tableName = tableNameOf(request);
    EnvAccess access;
    if (const int rc = openTable(request, tableName, &access))
        return rc;
    const QVariantMap& body = request.parsedBody;
    PageRequest page;
    if (const int rc = readStartKey(body, &page))
        return rc;
    QByteArray hashKey = page.startHash; // Kept: with a start key nobody looks at "HashKeyValue"
    if (!page.hasStart) {
        if (!body.contains(u"HashKeyValue"_s)) {
            // Kept: a query without a hash key succeeds, and says so in the form of another operation.
            request.reply.insert(u"Attributes"_s, QVariantMap());
            return StatusSuccess;
        }
        const QVariantMap value = body.value(u"HashKeyValue"_s).toMap();
        if (!value.contains(u"S"_s)) {
            LOG_ERROR(LogOrigin, __LINE__) << "wrong hash-key";
            return StatusInternalError;
        }
        if (const int rc = keyBytes(value.value(u"S"_s), &hashKey))
            return rc;
    }
    readPageOptions(body, &page);
    const bool forward = body.value(u"ScanIndexForward"_s, true).toBool();
    KeyNames names;
    if (const int rc = readKeyNames(request, tableName, page, false, &names))
        return rc;

    // Kept: the empty hash key has the first or last partition, not the one of its digest, where PutItem stores it.
    const unsigned partition =
        hashKey.isEmpty() ? (forward ? 0 : PartitionCount - 1) : partitionOf(hashKey, PartitionCount);
    BDBIndex* db = nullptr;
    if (const int rc = openPartitionAt(request, tableName, partition, &db))
        return rc;
    const bool hasCondition = body.contains(u"RangeKeyCondition"_s);
    const QVariantMap condition = body.value(u"RangeKeyCondition"_s).toMap();
    const QueryRange range{hashKey, page.startRange, page.limit, forward, hasCondition ? &condition : nullptr};
    ItemFormatter format = formatterOf(page, names);
    QueryResult found;
    const int rc = retryWalk("queryTable", hashKey, page.startRange,
                             [&] { return queryDb(request, db, range, page.countOnly ? nullptr : &format, &found); });
    if (rc != 0) {
        answerNothing(request, page, false);
        return rc;
    }
    if (!found.lastRange.isEmpty())
        answerLastKey(request, hashKey, found.lastRange);
    answerItems(request, page, found.count, found.items);
    return StatusSuccess;
}

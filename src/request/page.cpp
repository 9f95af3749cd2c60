#include "request/page.h"

#include "log/log.h"
#include "protocol/limits.h"
#include "records/encoding.h"
#include "records/lists.h"
#include "records/requeststatus.h"
#include "records/schema.h"
#include "request/bdbrequest.h"
#include "request/requestkeys.h"

#include "json/jsontext.h"

#include <algorithm>
#include <limits>

using namespace Qt::StringLiterals;

namespace {

int limitOf(const RequestBody& body)
{
    if (!body.contains("Limit"_L1))
        return Limits::PageItems;
    // A negative limit counts as zero, so that a walk can decrement it without overflow.
    return static_cast<int>(
        std::clamp<qlonglong>(body.value("Limit"_L1).toLongLong(), 0, std::numeric_limits<int>::max()));
}

int readHashKey(const RequestBody& body, QueryRequest* query)
{
    if (query->page.hasStart) {
        query->hashKey = query->page.startHash; // Kept: with a start key, "HashKeyValue" is ignored
        return StatusSuccess;
    }
    query->hasHashKey = body.contains("HashKeyValue"_L1);
    if (!query->hasHashKey)
        return StatusSuccess;
    const QVariantMap typed = body.value("HashKeyValue"_L1).toMap();
    const auto text = typed.constFind(u"S"_s);
    if (text == typed.constEnd()) {
        LOG_ERROR(LogOrigin::Request, __LINE__) << "wrong hash-key";
        return StatusInternalError;
    }
    return Records::keyBytes(*text, &query->hashKey);
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

void answerItems(BDBRequest& request, const PageRequest& page, int count, const QByteArray& items)
{
    request.reply.insert(u"Count"_s, count);
    if (!page.countOnly)
        request.reply.insert(u"Items"_s, QVariant::fromValue(Json::RawElements{items}));
}

} // namespace

int Requests::readPage(const RequestBody& body, PageRequest* page)
{
    page->countOnly = body.value("Count"_L1).toBool();
    page->limit = limitOf(body);
    page->attributesToGet = Records::listOf(body.value("AttributesToGet"_L1));
    page->hasStart = body.contains("ExclusiveStartKey"_L1);
    return page->hasStart ? readElementKeys(body, "ExclusiveStartKey"_L1, &page->startHash, &page->startRange)
                          : StatusSuccess;
}

int Requests::readQuery(const RequestBody& body, QueryRequest* query)
{
    if (const int rc = readPage(body, &query->page))
        return rc;
    query->forward = !body.contains("ScanIndexForward"_L1) || body.value("ScanIndexForward"_L1).toBool();
    query->hasCondition = body.contains("RangeKeyCondition"_L1);
    query->condition = body.value("RangeKeyCondition"_L1).toMap();
    return readHashKey(body, query);
}

int Requests::readKeyNames(BDBRequest& request, const QByteArray& tableName, const PageRequest& page,
                           bool withScannedCount, KeyNames* names)
{
    QVariantMap description;
    const int rc = Records::loadSchema(request.table, tableName, &description, true);
    if (rc == StatusTakesLong)
        return rc;
    if (rc != 0) {
        answerNothing(request, page, withScannedCount);
        return StatusInternalError;
    }
    return schemaKeyNames(description, &names->hash, &names->range);
}

ItemFormatter Requests::formatterOf(const PageRequest& page, const KeyNames& names)
{
    ItemFormatter format(names);
    if (!page.attributesToGet.isEmpty())
        format.keepOnly(page.attributesToGet);
    return format;
}

void Requests::answerNothing(BDBRequest& request, const PageRequest& page, bool withScannedCount)
{
    request.reply.insert(u"Count"_s, 0);
    if (withScannedCount)
        request.reply.insert(u"ScannedCount"_s, 0);
    if (!page.countOnly)
        request.reply.insert(u"Items"_s, QVariantList());
}

void Requests::answerScan(BDBRequest& request, const PageRequest& page, const ScanResult& found,
                          const QByteArray& items)
{
    if (!found.lastHash.isEmpty())
        answerLastKey(request, found.lastHash, found.lastRange);
    request.reply.insert(u"ScannedCount"_s, found.scanned);
    answerItems(request, page, found.count, items);
}

void Requests::answerQuery(BDBRequest& request, const QueryRequest& query, const QueryResult& found,
                           const QByteArray& items)
{
    if (!found.lastRange.isEmpty())
        answerLastKey(request, query.hashKey, found.lastRange);
    answerItems(request, query.page, found.count, items);
}

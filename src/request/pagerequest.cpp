#include "request/pagerequest.h"

#include "log/log.h"
#include "protocol/limits.h"
#include "records/encoding.h"
#include "records/lists.h"
#include "records/requeststatus.h"
#include "request/requestbody.h"
#include "request/requestkeys.h"

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

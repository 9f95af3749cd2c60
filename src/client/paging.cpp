#include "client/paging.h"

#include "protocol/bodies.h"
#include "protocol/limits.h"

#include <limits>
#include <utility>

using namespace Qt::StringLiterals;

namespace Client {

namespace {

/** Whether a query with this condition walks downward. */
bool walksDown(const QVariantMap& condition)
{
    const QString comparison = condition.value(u"ComparisonOperator"_s).toString();
    return comparison == Bodies::Comparison::AtMost || comparison == Bodies::Comparison::Less;
}

QVariantMap conditionOf(const QVariantMap& body)
{
    return body.value(u"RangeKeyCondition"_s).toMap();
}

QString firstKeyOf(const QVariantMap& condition)
{
    return condition.value(u"AttributeValueList"_s).toList().value(0).toMap().value(u"S"_s).toString();
}

} // namespace

Paging::Paging(const Operations::Operation& operation, QVariantMap body, int limit)
    : isQuery_(operation == Operations::Query), isDown_(walksDown(conditionOf(body))),
      bound_(firstKeyOf(conditionOf(body))), firstLimit_(limit > 0 ? limit : Limits::PageItems), body_(std::move(body))
{
    setLimit(firstLimit_);
}

Paging::Next Paging::advance(const QVariantMap& reply)
{
    const QVariantMap last = reply.value(u"LastEvaluatedKey"_s).toMap();
    if (last.isEmpty())
        return Next::End;
    const QString hash = last.value(u"HashKeyElement"_s).toString();
    const QString range = last.value(u"RangeKeyElement"_s).toString();
    if (!leadsOn(hash, range)) {
        setLimit(limit_ > std::numeric_limits<int>::max() / 2 ? std::numeric_limits<int>::max() : limit_ * 2);
        return Next::SamePage;
    }
    Bodies::setStartKey(Bodies::key(hash, range), &body_);
    setLimit(firstLimit_);
    return Next::Page;
}

/**
 * Whether the next page can start after a key. A downward query from a start key that has been deleted meanwhile
 * examines the next greater key first, and with a small limit that may be its last one. Resuming from there would
 * return items twice.
 */
bool Paging::leadsOn(const QString& hash, const QString& range) const
{
    if ((isQuery_ ? range : hash).isEmpty())
        return false;
    const QVariantMap start = body_.value(u"ExclusiveStartKey"_s).toMap();
    if (start.isEmpty())
        return !isDown_ || range <= bound_;
    const QString startHash = start.value(u"HashKeyElement"_s).toMap().value(u"S"_s).toString();
    const QString startRange = start.value(u"RangeKeyElement"_s).toMap().value(u"S"_s).toString();
    if (hash == startHash && range == startRange)
        return false;
    return !isDown_ || range < startRange;
}

void Paging::setLimit(int limit)
{
    limit_ = limit;
    Bodies::setLimit(limit, &body_);
}

} // namespace Client

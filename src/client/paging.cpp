#include "client/paging.h"

#include <limits>
#include <utility>

using namespace Qt::StringLiterals;

namespace Client {

namespace {

/** A key behind all that begin with `prefix`, unless they go on with as many letters of the greatest kind. */
QString behindAll(const QString& prefix)
{
    constexpr int MoreThanKeysHave = 1024;
    return prefix + QString(MoreThanKeysHave, QChar(0xff)); // keys are Latin-1
}

QVariantMap stringValue(const QString& text)
{
    return {{u"S"_s, text}};
}

/** Whether the conditions of a query have it walk down. */
bool walksDown(const QVariantMap& body)
{
    const QVariant comparison = body.value(u"RangeKeyCondition"_s).toMap().value(u"ComparisonOperator"_s);
    return comparison == u"LE"_s || comparison == u"LT"_s;
}

} // namespace

QVariantMap rangeCondition(const QString& comparison, const QStringList& keys)
{
    QVariantList values;
    for (const QString& key : keys)
        values.append(stringValue(key));
    return {{u"ComparisonOperator"_s, comparison}, {u"AttributeValueList"_s, values}};
}

QVariantMap allKeysDown()
{
    return keysWithPrefix({}, true);
}

QVariantMap keysWithPrefix(const QString& prefix, bool down)
{
    if (down)
        return rangeCondition(u"LE"_s, {behindAll(prefix)});
    return prefix.isEmpty() ? rangeCondition(u"GE"_s, {prefix})
                            : rangeCondition(u"BETWEEN"_s, {prefix, behindAll(prefix)});
}

Paging::Paging(const QString& operation, QVariantMap body, int limit)
    : isQuery_(operation == u"Query"_s), isDown_(walksDown(body)), firstLimit_(limit > 0 ? limit : DefaultPageLimit),
      body_(std::move(body))
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
    body_.insert(u"ExclusiveStartKey"_s,
                 QVariantMap{{u"HashKeyElement"_s, stringValue(hash)}, {u"RangeKeyElement"_s, stringValue(range)}});
    setLimit(firstLimit_);
    return Next::Page;
}

/**
 * Whether the next page can begin behind a key. A query down whose start key was deleted meanwhile examines the next
 * greater key first, and with a small limit that may be its last. From there, items would come a second time.
 */
bool Paging::leadsOn(const QString& hash, const QString& range) const
{
    if ((isQuery_ ? range : hash).isEmpty())
        return false;
    const QVariantMap start = body_.value(u"ExclusiveStartKey"_s).toMap();
    if (start.isEmpty())
        return true;
    const QString startHash = start.value(u"HashKeyElement"_s).toMap().value(u"S"_s).toString();
    const QString startRange = start.value(u"RangeKeyElement"_s).toMap().value(u"S"_s).toString();
    if (hash == startHash && range == startRange)
        return false;
    return !isDown_ || range < startRange;
}

void Paging::setLimit(int limit)
{
    limit_ = limit;
    body_.insert(u"Limit"_s, limit);
}

} // namespace Client

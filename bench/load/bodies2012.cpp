#include "load/bodies2012.h"

#include "common/workload.h"
#include "protocol/bodies.h"

namespace Bench::Bodies2012 {

namespace {

QVariantMap key(const QString& hash, const QString& range)
{
    return {{HashAttribute, ::Bodies::stringValue(hash)}, {RangeAttribute, ::Bodies::stringValue(range)}};
}

} // namespace

QVariantMap itemByKey(const QString& table, const QString& hash, const QString& range)
{
    return {{"TableName", table}, {"Key", key(hash, range)}};
}

QVariantMap addOne(const QString& table, const QString& hash, const QString& range)
{
    QVariantMap body = itemByKey(table, hash, range);
    body.insert("ConditionExpression", "attribute_exists(#count)");
    body.insert("UpdateExpression", "SET #count = #count + :one");
    body.insert("ExpressionAttributeNames", QVariantMap{{"#count", CountAttribute}});
    body.insert("ExpressionAttributeValues", QVariantMap{{":one", QVariantMap{{"N", "1"}}}});
    return body;
}

QVariantMap query(const QString& table, const QString& hash)
{
    return {{"TableName", table},
            {"KeyConditionExpression", QString::fromLatin1(HashAttribute) + " = :hash"},
            {"ExpressionAttributeValues", QVariantMap{{":hash", ::Bodies::stringValue(hash)}}},
            {"Limit", ItemsPerHashKey}};
}

QVariantMap scan(const QString& table, const QString& hash, const QString& range)
{
    return {{"TableName", table}, {"ExclusiveStartKey", key(hash, range)}, {"Limit", ItemsPerPage}};
}

} // namespace Bench::Bodies2012

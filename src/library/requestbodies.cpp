#include "library/requestbodies.h"

#include "protocol/bodies.h"

namespace Quorva {

namespace {

QVariantMap conditionBody(const KeyCondition& condition)
{
    return Bodies::condition(condition.comparison(), condition.keys());
}

/** Adds the options common to queries and scans. */
template <typename Options> void addPageOptions(const Options& options, QVariantMap* body)
{
    if (options.limit > 0)
        Bodies::setLimit(options.limit, body);
    Bodies::addAttributesToGet(options.attributes, body);
    if (options.countOnly)
        Bodies::setCountOnly(body);
    if (options.startKey)
        Bodies::setStartKey(keyBody(*options.startKey), body);
}

} // namespace

QVariantMap keyBody(const Key& key)
{
    return Bodies::key(key.hash, key.range);
}

QVariantMap tableBody(const Table& table)
{
    QVariantMap body = Bodies::createTable(table.name, table.hashKey, table.rangeKey);
    Bodies::setThroughput(table.readUnits, table.writeUnits, &body);
    return body;
}

QVariantMap queryBody(const QString& table, const QString& hash, const QueryOptions& options)
{
    QVariantMap body = Bodies::query(table, hash);
    addPageOptions(options, &body);
    if (options.backward)
        Bodies::setForward(false, &body);
    if (options.range)
        Bodies::setRangeCondition(conditionBody(*options.range), &body);
    return body;
}

QVariantMap scanBody(const QString& table, const ScanOptions& options)
{
    QVariantMap body = Bodies::table(table);
    addPageOptions(options, &body);
    QVariantMap filter;
    for (auto condition = options.filter.constBegin(); condition != options.filter.constEnd(); ++condition)
        filter.insert(condition.key(), conditionBody(*condition));
    Bodies::addScanFilter(filter, &body);
    return body;
}

} // namespace Quorva

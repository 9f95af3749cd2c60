#include "library/bodies.h"

#include "protocol/bodies.h"

namespace Quorva {

namespace {

QVariantMap conditionBody(const KeyCondition& condition)
{
    return Bodies::condition(condition.comparison(), condition.keys());
}

/** Adds the options that queries and scans share. */
template <typename Options> void addPageOptions(const Options& options, QVariantMap* body)
{
    if (options.limit > 0)
        body->insert(QStringLiteral("Limit"), options.limit);
    Bodies::addAttributesToGet(options.attributes, body);
    if (options.countOnly)
        body->insert(QStringLiteral("Count"), true);
    if (options.startKey)
        body->insert(QStringLiteral("ExclusiveStartKey"), keyBody(*options.startKey));
}

} // namespace

QVariantMap keyBody(const Key& key)
{
    return Bodies::key(key.hash, key.range);
}

QVariantMap tableBody(const Table& table)
{
    QVariantMap body = Bodies::createTable(table.name, table.hashKey, table.rangeKey);
    body.insert(QStringLiteral("ProvisionedThroughput"),
                QVariantMap{{QStringLiteral("ReadCapacityUnits"), table.readUnits},
                            {QStringLiteral("WriteCapacityUnits"), table.writeUnits}});
    return body;
}

QVariantMap queryBody(const QString& table, const QString& hash, const QueryOptions& options)
{
    QVariantMap body = Bodies::query(table, hash);
    addPageOptions(options, &body);
    if (options.backward)
        body.insert(QStringLiteral("ScanIndexForward"), false);
    if (options.range)
        body.insert(QStringLiteral("RangeKeyCondition"), conditionBody(*options.range));
    return body;
}

QVariantMap scanBody(const QString& table, const ScanOptions& options)
{
    QVariantMap body = Bodies::table(table);
    addPageOptions(options, &body);
    QVariantMap filter;
    for (auto condition = options.filter.constBegin(); condition != options.filter.constEnd(); ++condition)
        filter.insert(condition.key(), conditionBody(*condition));
    if (!filter.isEmpty())
        body.insert(QStringLiteral("ScanFilter"), filter);
    return body;
}

} // namespace Quorva

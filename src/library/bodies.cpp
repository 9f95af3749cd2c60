#include "quorva/bodies.h"

namespace Quorva {

namespace {

QVariantMap keyElement(const QString& name)
{
    return {{QStringLiteral("AttributeName"), name}, {QStringLiteral("AttributeType"), QStringLiteral("S")}};
}

/** What queries and scans have in common. */
template <typename Options> QVariantMap pageBody(const QString& table, const Options& options)
{
    QVariantMap body{{QStringLiteral("TableName"), table}};
    if (options.limit > 0)
        body.insert(QStringLiteral("Limit"), options.limit);
    if (!options.attributes.isEmpty())
        body.insert(QStringLiteral("AttributesToGet"), options.attributes);
    if (options.countOnly)
        body.insert(QStringLiteral("Count"), true);
    if (options.startKey)
        body.insert(QStringLiteral("ExclusiveStartKey"), keyBody(*options.startKey));
    return body;
}

} // namespace

QVariantMap keyBody(const Key& key)
{
    return {{QStringLiteral("HashKeyElement"), S(key.hash)}, {QStringLiteral("RangeKeyElement"), S(key.range)}};
}

QVariantMap conditionBody(const KeyCondition& condition)
{
    QVariantList values;
    for (const QString& key : condition.keys())
        values.append(S(key));
    return {{QStringLiteral("ComparisonOperator"), condition.comparison()},
            {QStringLiteral("AttributeValueList"), values}};
}

QVariantMap tableBody(const Table& table)
{
    return {{QStringLiteral("TableName"), table.name},
            {QStringLiteral("KeySchema"), QVariantMap{{QStringLiteral("HashKeyElement"), keyElement(table.hashKey)},
                                                      {QStringLiteral("RangeKeyElement"), keyElement(table.rangeKey)}}},
            {QStringLiteral("ProvisionedThroughput"),
             QVariantMap{{QStringLiteral("ReadCapacityUnits"), table.readUnits},
                         {QStringLiteral("WriteCapacityUnits"), table.writeUnits}}}};
}

QVariantMap queryBody(const QString& table, const QString& hash, const QueryOptions& options)
{
    QVariantMap body = pageBody(table, options);
    body.insert(QStringLiteral("HashKeyValue"), S(hash));
    if (options.backward)
        body.insert(QStringLiteral("ScanIndexForward"), false);
    if (options.range)
        body.insert(QStringLiteral("RangeKeyCondition"), conditionBody(*options.range));
    return body;
}

QVariantMap scanBody(const QString& table, const ScanOptions& options)
{
    QVariantMap body = pageBody(table, options);
    QVariantMap filter;
    for (auto condition = options.filter.constBegin(); condition != options.filter.constEnd(); ++condition)
        filter.insert(condition.key(), conditionBody(*condition));
    if (!filter.isEmpty())
        body.insert(QStringLiteral("ScanFilter"), filter);
    return body;
}

} // namespace Quorva

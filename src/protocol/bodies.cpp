#include "protocol/bodies.h"

using namespace Qt::StringLiterals;

namespace Bodies {

namespace {

QVariantMap keyAttribute(const QString& name)
{
    return {{u"AttributeName"_s, name}, {u"AttributeType"_s, u"S"_s}};
}

} // namespace

QVariantMap stringValue(const QString& text)
{
    return {{u"S"_s, text}};
}

QVariantMap key(const QString& hash, const QString& range)
{
    return {{u"HashKeyElement"_s, stringValue(hash)}, {u"RangeKeyElement"_s, stringValue(range)}};
}

QVariantMap table(const QString& name)
{
    return {{u"TableName"_s, name}};
}

QVariantMap createTable(const QString& name, const QString& hashName, const QString& rangeName)
{
    return {{u"TableName"_s, name},
            {u"KeySchema"_s, QVariantMap{{u"HashKeyElement"_s, keyAttribute(hashName)},
                                         {u"RangeKeyElement"_s, keyAttribute(rangeName)}}}};
}

void setThroughput(int readUnits, int writeUnits, QVariantMap* body)
{
    body->insert(u"ProvisionedThroughput"_s,
                 QVariantMap{{u"ReadCapacityUnits"_s, readUnits}, {u"WriteCapacityUnits"_s, writeUnits}});
}

QVariantMap adminAction(const QString& table, const char* action, const QString& value)
{
    return {{u"TableName"_s, table}, {u"ProvisionedThroughput"_s, QVariantMap{{QString::fromLatin1(action), value}}}};
}

QVariantMap putItem(const QString& table, const QVariantMap& item)
{
    return {{u"TableName"_s, table}, {u"Item"_s, item}};
}

QVariantMap itemByKey(const QString& table, const QString& hash, const QString& range)
{
    return {{u"TableName"_s, table}, {u"Key"_s, key(hash, range)}};
}

QVariantMap updateItem(const QString& table, const QString& hash, const QString& range, const QVariantMap& updates)
{
    QVariantMap body = itemByKey(table, hash, range);
    body.insert(u"AttributeUpdates"_s, updates);
    return body;
}

QVariantMap query(const QString& table, const QString& hash)
{
    return {{u"TableName"_s, table}, {u"HashKeyValue"_s, stringValue(hash)}};
}

QVariantMap batchWrite(const QVariantMap& requestItems)
{
    return {{u"RequestItems"_s, requestItems}};
}

QVariantMap putRequest(const QVariant& item)
{
    return {{u"PutRequest"_s, QVariantMap{{u"Item"_s, item}}}};
}

QVariantMap deleteRequest(const QVariantMap& key)
{
    return {{u"DeleteRequest"_s, QVariantMap{{u"Key"_s, key}}}};
}

QVariantMap update(const QString& action)
{
    return {{u"Action"_s, action}};
}

QVariantMap update(const QString& action, const QVariantMap& value)
{
    return {{u"Action"_s, action}, {u"Value"_s, value}};
}

QVariantMap expectedValue(const QVariantMap& value)
{
    return {{u"Value"_s, value}};
}

QVariantMap expectedAbsence()
{
    return {{u"Exists"_s, false}};
}

QVariantMap condition(const QString& comparison, const QStringList& keys)
{
    QVariantList values;
    for (const QString& text : keys)
        values.append(stringValue(text));
    return {{u"ComparisonOperator"_s, comparison}, {u"AttributeValueList"_s, values}};
}

void setLimit(int limit, QVariantMap* body)
{
    body->insert(u"Limit"_s, limit);
}

void setCountOnly(QVariantMap* body)
{
    body->insert(u"Count"_s, true);
}

void setStartKey(const QVariantMap& key, QVariantMap* body)
{
    body->insert(u"ExclusiveStartKey"_s, key);
}

void setForward(bool forward, QVariantMap* body)
{
    body->insert(u"ScanIndexForward"_s, forward);
}

void setRangeCondition(const QVariantMap& condition, QVariantMap* body)
{
    body->insert(u"RangeKeyCondition"_s, condition);
}

void addScanFilter(const QVariantMap& conditions, QVariantMap* body)
{
    if (!conditions.isEmpty())
        body->insert(u"ScanFilter"_s, conditions);
}

void addExpected(const QVariantMap& expected, QVariantMap* body)
{
    if (!expected.isEmpty())
        body->insert(u"Expected"_s, expected);
}

void addAttributesToGet(const QStringList& names, QVariantMap* body)
{
    if (!names.isEmpty())
        body->insert(u"AttributesToGet"_s, names);
}

void setReturnValues(const char* values, QVariantMap* body)
{
    body->insert(u"ReturnValues"_s, QString::fromLatin1(values));
}

KeyNames keyNames(const QVariantMap& description)
{
    const QVariantMap schema = description.value(u"KeySchema"_s).toMap();
    const auto nameOf = [&](const QString& element) {
        return schema.value(element).toMap().value(u"AttributeName"_s).toString();
    };
    return {nameOf(u"HashKeyElement"_s), nameOf(u"RangeKeyElement"_s)};
}

} // namespace Bodies

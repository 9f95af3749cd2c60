#include "quorva/requests.h"

#include "quorva/bodies.h"

#include <utility>

namespace Quorva {

QVariantMap isAbsent()
{
    return {{QStringLiteral("Exists"), false}};
}

QVariantMap isEqual(const Value& value)
{
    return {{QStringLiteral("Value"), value}};
}

QVariantMap putValue(const Value& value)
{
    return {{QStringLiteral("Action"), QStringLiteral("PUT")}, {QStringLiteral("Value"), value}};
}

QVariantMap addValue(const Value& value)
{
    return {{QStringLiteral("Action"), QStringLiteral("ADD")}, {QStringLiteral("Value"), value}};
}

QVariantMap deleteValue()
{
    return {{QStringLiteral("Action"), QStringLiteral("DELETE")}};
}

KeyCondition::KeyCondition(const char* comparison, QStringList keys)
    : comparison_(QString::fromLatin1(comparison)), keys_(std::move(keys))
{}

KeyCondition KeyCondition::equal(const QString& key)
{
    return {"EQ", {key}};
}

KeyCondition KeyCondition::less(const QString& key)
{
    return {"LT", {key}};
}

KeyCondition KeyCondition::atMost(const QString& key)
{
    return {"LE", {key}};
}

KeyCondition KeyCondition::greater(const QString& key)
{
    return {"GT", {key}};
}

KeyCondition KeyCondition::atLeast(const QString& key)
{
    return {"GE", {key}};
}

KeyCondition KeyCondition::between(const QString& low, const QString& high)
{
    return {"BETWEEN", {low, high}};
}

KeyCondition KeyCondition::beginsWith(const QString& prefix)
{
    return {"BEGINS_WITH", {prefix}};
}

Batch::Batch(const QVariantMap& requestItems)
{
    for (auto table = requestItems.constBegin(); table != requestItems.constEnd(); ++table)
        requests_.insert(table.key(), table->toList());
}

void Batch::putItem(const QString& table, const Item& item)
{
    append(table, "PutRequest", {{QStringLiteral("Item"), item}});
}

void Batch::deleteItem(const QString& table, const Key& key)
{
    append(table, "DeleteRequest", {{QStringLiteral("Key"), keyBody(key)}});
}

QVariantMap Batch::requestItems() const
{
    QVariantMap items;
    for (auto table = requests_.constBegin(); table != requests_.constEnd(); ++table)
        items.insert(table.key(), *table);
    return items;
}

void Batch::append(const QString& table, const char* kind, const QVariantMap& request)
{
    requests_[table].append(QVariantMap{{QString::fromLatin1(kind), request}});
}

} // namespace Quorva

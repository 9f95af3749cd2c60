#include "quorva/requests.h"

#include "library/requestbodies.h"
#include "protocol/bodies.h"

#include <utility>

namespace Quorva {

QVariantMap isAbsent()
{
    return Bodies::expectedAbsence();
}

QVariantMap isEqual(const Value& value)
{
    return Bodies::expectedValue(value);
}

QVariantMap putValue(const Value& value)
{
    return Bodies::update(Bodies::UpdatePut, value);
}

QVariantMap addValue(const Value& value)
{
    return Bodies::update(Bodies::UpdateAdd, value);
}

QVariantMap deleteValue()
{
    return Bodies::update(Bodies::UpdateDelete);
}

KeyCondition::KeyCondition(const char* comparison, QStringList keys)
    : comparison_(QString::fromLatin1(comparison)), keys_(std::move(keys))
{}

KeyCondition KeyCondition::equal(const QString& key)
{
    return {Bodies::Comparison::Equal, {key}};
}

KeyCondition KeyCondition::less(const QString& key)
{
    return {Bodies::Comparison::Less, {key}};
}

KeyCondition KeyCondition::atMost(const QString& key)
{
    return {Bodies::Comparison::AtMost, {key}};
}

KeyCondition KeyCondition::greater(const QString& key)
{
    return {Bodies::Comparison::Greater, {key}};
}

KeyCondition KeyCondition::atLeast(const QString& key)
{
    return {Bodies::Comparison::AtLeast, {key}};
}

KeyCondition KeyCondition::between(const QString& low, const QString& high)
{
    return {Bodies::Comparison::Between, {low, high}};
}

KeyCondition KeyCondition::beginsWith(const QString& prefix)
{
    return {Bodies::Comparison::BeginsWith, {prefix}};
}

Batch::Batch(const QVariantMap& requestItems)
{
    for (auto table = requestItems.constBegin(); table != requestItems.constEnd(); ++table)
        requests_.insert(table.key(), table->toList());
}

void Batch::putItem(const QString& table, const Item& item)
{
    requests_[table].append(Bodies::putRequest(item));
}

void Batch::deleteItem(const QString& table, const Key& key)
{
    requests_[table].append(Bodies::deleteRequest(keyBody(key)));
}

QVariantMap Batch::requestItems() const
{
    QVariantMap items;
    for (auto table = requests_.constBegin(); table != requests_.constEnd(); ++table)
        items.insert(table.key(), *table);
    return items;
}

} // namespace Quorva

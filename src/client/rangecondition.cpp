#include "client/rangecondition.h"

#include "protocol/bodies.h"

using namespace Qt::StringLiterals;

namespace Client {

namespace {

/** A key after all those that begin with `prefix`, unless they continue with that many characters 0xff. */
QString behindAll(const QString& prefix)
{
    constexpr int MoreThanKeysHave = 1024;
    return prefix + QString(MoreThanKeysHave, QChar(0xff)); // keys are Latin-1
}

/** Removes the start key if it precedes the range. Without one, a query takes the hash key from another member. */
void removeStartInFrontOf(const QString& prefix, bool down, QVariantMap* body)
{
    const QVariantMap start = body->value(u"ExclusiveStartKey"_s).toMap();
    const QVariant hash = start.value(u"HashKeyElement"_s);
    const QVariant range = start.value(u"RangeKeyElement"_s).toMap().value(u"S"_s);
    if (range.typeId() != QMetaType::QString || hash.toMap().value(u"S"_s).typeId() != QMetaType::QString)
        return; // no start key, or one that the server rejects
    const QString text = range.toString();
    if (text.startsWith(prefix) || (text < prefix) == down)
        return;
    body->remove(u"ExclusiveStartKey"_s);
    body->insert(u"HashKeyValue"_s, hash);
}

} // namespace

QVariantMap allKeysDown()
{
    return keysWithPrefix({}, true);
}

QVariantMap keysWithPrefix(const QString& prefix, bool down)
{
    if (down)
        return Bodies::condition(Bodies::Comparison::AtMost, {behindAll(prefix)});
    return prefix.isEmpty() ? Bodies::condition(Bodies::Comparison::AtLeast, {prefix})
                            : Bodies::condition(Bodies::Comparison::Between, {prefix, behindAll(prefix)});
}

std::optional<QString> replaceBeginsWith(QVariantMap* body, bool down)
{
    const QVariantMap condition = body->value(u"RangeKeyCondition"_s).toMap();
    const QVariantList values = condition.value(u"AttributeValueList"_s).toList();
    const QVariant value = values.value(0).toMap().value(u"S"_s);
    const QString comparison = condition.value(u"ComparisonOperator"_s).toString();
    if (comparison != Bodies::Comparison::BeginsWith || values.size() != 1 || value.typeId() != QMetaType::QString)
        return std::nullopt;
    const QString prefix = value.toString();
    Bodies::setRangeCondition(keysWithPrefix(prefix, down), body);
    removeStartInFrontOf(prefix, down, body);
    return prefix;
}

} // namespace Client

#include "quorva/result.h"

namespace Quorva {

namespace {

constexpr int Ok = 200;

} // namespace

Result Result::fromReply(const QVariantMap& reply)
{
    Result result;
    result.reply_ = reply;
    if (result.rc() == Ok)
        result.outcome_ = Outcome::Success;
    else if (result.errorType() == QLatin1StringView("ConditionalCheckFailedException"))
        result.outcome_ = Outcome::ConditionFailed;
    else
        result.outcome_ = Outcome::ErrorReply;
    return result;
}

Result Result::noReply(const QString& why)
{
    Result result;
    result.outcome_ = Outcome::NoReply;
    result.why_ = why;
    return result;
}

int Result::rc() const
{
    return reply_.value(QStringLiteral("__rc")).toInt();
}

QString Result::rcstr() const
{
    return reply_.value(QStringLiteral("__rcstr")).toString();
}

QString Result::errorType() const
{
    return reply_.value(QStringLiteral("__type")).toString();
}

QString Result::errorText() const
{
    if (outcome_ == Outcome::NoReply)
        return why_;
    return reply_.value(QStringLiteral("message")).toString();
}

std::optional<Item> Result::item() const
{
    const auto found = reply_.constFind(QStringLiteral("Item"));
    return found != reply_.constEnd() ? std::optional(found->toMap()) : std::nullopt;
}

Item Result::attributes() const
{
    return reply_.value(QStringLiteral("Attributes")).toMap();
}

QList<Item> Result::items() const
{
    QList<Item> result;
    const QVariantList list = reply_.value(QStringLiteral("Items")).toList();
    for (const QVariant& element : list)
        result.append(element.toMap());
    return result;
}

int Result::count() const
{
    return reply_.value(QStringLiteral("Count")).toInt();
}

int Result::scannedCount() const
{
    return reply_.value(QStringLiteral("ScannedCount")).toInt();
}

std::optional<Key> Result::lastKey() const
{
    const auto last = reply_.constFind(QStringLiteral("LastEvaluatedKey"));
    if (last == reply_.constEnd())
        return std::nullopt;
    const QVariantMap key = last->toMap();
    return Key{text(key, QStringLiteral("HashKeyElement")), text(key, QStringLiteral("RangeKeyElement"))};
}

QVariantMap Result::table() const
{
    const auto described = reply_.constFind(QStringLiteral("Table"));
    return (described != reply_.constEnd() ? *described : reply_.value(QStringLiteral("TableDescription"))).toMap();
}

Batch Result::unprocessed() const
{
    return Batch(reply_.value(QStringLiteral("UnprocessedItems")).toMap());
}

} // namespace Quorva

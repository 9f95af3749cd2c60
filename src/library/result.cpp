#include "quorva/result.h"

#include "protocol/envelope.h"

namespace Quorva {

Result Result::fromReply(const QVariantMap& reply)
{
    Result result;
    result.reply_ = reply;
    if (Envelopes::isSuccess(reply))
        result.outcome_ = Outcome::Success;
    else if (result.errorType() == ErrorTypes::ConditionalCheckFailed)
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
    return Envelopes::code(reply_);
}

QString Result::rcstr() const
{
    return Envelopes::outcome(reply_);
}

QString Result::errorType() const
{
    return Envelopes::errorType(reply_);
}

QString Result::errorText() const
{
    if (outcome_ == Outcome::NoReply)
        return why_;
    return Envelopes::message(reply_);
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

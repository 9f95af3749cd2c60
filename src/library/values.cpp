#include "quorva/values.h"

namespace Quorva {

Value S(const QString& text)
{
    return {{QStringLiteral("S"), text}};
}

Value N(const QString& digits)
{
    return {{QStringLiteral("N"), digits}};
}

Value SS(const QStringList& texts)
{
    return {{QStringLiteral("SS"), texts}};
}

Value NS(const QStringList& digits)
{
    return {{QStringLiteral("NS"), digits}};
}

QString text(const Item& item, const QString& name)
{
    const QVariant attribute = item.value(name);
    if (attribute.typeId() == QMetaType::QString)
        return attribute.toString();
    const Value value = attribute.toMap();
    const auto string = value.constFind(QStringLiteral("S"));
    return string != value.constEnd() ? string->toString() : value.value(QStringLiteral("N")).toString();
}

std::optional<qlonglong> number(const Item& item, const QString& name)
{
    bool isInteger = false;
    const qlonglong integer = item.value(name).toMap().value(QStringLiteral("N")).toString().toLongLong(&isInteger);
    return isInteger ? std::optional(integer) : std::nullopt;
}

QStringList texts(const Item& item, const QString& name)
{
    const Value value = item.value(name).toMap();
    const auto strings = value.constFind(QStringLiteral("SS"));
    return (strings != value.constEnd() ? *strings : value.value(QStringLiteral("NS"))).toStringList();
}

} // namespace Quorva

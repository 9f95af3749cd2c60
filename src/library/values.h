#ifndef QUORVA_VALUES_H
#define QUORVA_VALUES_H

#include <quorva/export.h>

#include <QString>
#include <QStringList>
#include <QVariantMap>

#include <concepts>
#include <optional>

/**
 * Items and their attributes as sent over the wire: an item is a map from attribute names to values, a value a map with
 * one member, its type. These are all plain values; any thread may have its own.
 *
 *     const Quorva::Item order{{"customer", Quorva::S("abc")}, {"total", Quorva::N(17)}};
 *     Quorva::number(order, "total"); // 17
 */
namespace Quorva {

using Value = QVariantMap;
using Item = QVariantMap;

/** The two keys of an item. Both are strings of Latin-1 characters. */
struct Key {
    QString hash;
    QString range;

    bool operator==(const Key&) const = default;
};

/** A string. */
QUORVA_EXPORT Value S(const QString& text);

/** A number, as decimal text. The server adds and compares only 64-bit integers; it just stores other numbers. */
QUORVA_EXPORT Value N(const QString& digits);
template <std::integral Integer> Value N(Integer number)
{
    return N(QString::number(number));
}

/** A set of strings, and a set of numbers as decimal text. */
QUORVA_EXPORT Value SS(const QStringList& texts);
QUORVA_EXPORT Value NS(const QStringList& digits);

/**
 * The text of a string or the digits of a number; a null string when the item has no such attribute or it has another
 * type. Also reads keys that a reply has as bare strings.
 */
QUORVA_EXPORT QString text(const Item& item, const QString& name);

/** The same as an integer; empty when the attribute is not a number or does not fit into 64 bits. */
QUORVA_EXPORT std::optional<qlonglong> number(const Item& item, const QString& name);

/** The elements of a set of strings or numbers; empty when there is none. */
QUORVA_EXPORT QStringList texts(const Item& item, const QString& name);

} // namespace Quorva

#endif

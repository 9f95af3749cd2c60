#ifndef QUORVA_RECORDS_ATTRIBUTEVALUES_H
#define QUORVA_RECORDS_ATTRIBUTEVALUES_H

#include <QVariantMap>

/**
 * The two rules on attribute values that act inside a read-modify-write. A value is a map with one member, its type
 * ("S", "N", "B", "SS", "NS", "BS"). Pure functions; any thread.
 */

namespace Records {

/**
 * Checks the conditions of a request's "Expected" map against the stored item, attribute names ascending; the first
 * failure ends it. 0: all hold. 1: one fails. 2, with an ERROR line: a condition has neither "Exists" nor "Value".
 *
 * Kept: "Exists" true holds whether or not the attribute exists; only "Exists" false can fail.
 */
[[nodiscard]] int checkExpected(const QVariantMap& oldItem, const QVariantMap& expected);

/**
 * The update action "ADD" on an existing attribute: `current` becomes the sum of two numbers or the concatenation of
 * two strings. 3, with an ERROR line and `current` unchanged, for other or unequal types.
 *
 * Kept: numbers are 64-bit integers; fractions are lost, and text that is not an integer counts as 0.
 */
[[nodiscard]] int applyAdd(QVariantMap* current, const QVariantMap& addend);

} // namespace Records

#endif

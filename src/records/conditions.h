#ifndef QUORVA_RECORDS_CONDITIONS_H
#define QUORVA_RECORDS_CONDITIONS_H

#include <QByteArray>
#include <QByteArrayView>
#include <QVariantMap>

/** Conditions on keys: a "RangeKeyCondition" or the key entries of a "ScanFilter". Pure; any thread. */

enum class ComparisonOperator { None, Eq, Le, Lt, Ge, Gt, BeginsWith, Between, Unknown };

/** A parsed condition. Values are key bytes; `high` is used by Between alone. */
struct KeyBounds {
    ComparisonOperator comparison = ComparisonOperator::None;
    QByteArray low;
    QByteArray high;
};

/** The result of a condition on a key: whether it matches, and whether no later key of an ascending walk can match. */
struct KeyMatch {
    bool match;
    bool stop = false;
};

namespace Records {

/**
 * Parses "ComparisonOperator" and "AttributeValueList". Without an operator nothing changes. Kept: operators that walk
 * upwards from their bound set `forward`, those that walk downwards clear it, unknown ones leave it. 0; 2 with an ERROR
 * line on a malformed condition; 4 on a value that is not Latin-1. Only "S" values are accepted, as keys are strings.
 */
[[nodiscard]] int parseCondition(const QVariantMap& condition, KeyBounds* parsed, bool* forward);

/**
 * Compares key bytes (as unsigned, a proper prefix first).
 *
 * Kept: every key matches an unknown operator.
 */
[[nodiscard]] KeyMatch matchCondition(QByteArrayView value, const KeyBounds& condition);

} // namespace Records

#endif

#ifndef QUORVA_RECORDS_CONDITIONS_H
#define QUORVA_RECORDS_CONDITIONS_H

#include <QByteArray>
#include <QByteArrayView>
#include <QVariantMap>

/** Conditions on keys: what a "RangeKeyCondition" or the key entries of a "ScanFilter" say. Pure; any thread. */

enum class ComparisonOperator { None, Eq, Le, Lt, Ge, Gt, BeginsWith, Between, Unknown };

/** A condition once it is parsed. Values are key bytes; `high` is used by Between alone. */
struct KeyBounds {
    ComparisonOperator comparison = ComparisonOperator::None;
    QByteArray low;
    QByteArray high;
};

/** What a condition says of a key: whether it matches, and whether no later key of an upward walk can. */
struct KeyMatch {
    bool match;
    bool stop = false;
};

namespace Records {

/**
 * Parses "ComparisonOperator" and "AttributeValueList". Without an operator nothing changes. Kept: the operators that
 * walk up from their bound set `forward`, those that walk down from it clear it, unknown ones leave it. 0; 2 with an
 * ERROR line on a malformed condition; 4 on a value that is not Latin-1. Only "S" values are accepted, as keys are
 * strings.
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

#ifndef QUORVA_RECORDS_CONDITIONS_H
#define QUORVA_RECORDS_CONDITIONS_H

#include <QByteArray>
#include <QByteArrayView>
#include <QVariantMap>

/** Conditions on keys: what a "RangeKeyCondition" or the key entries of a "ScanFilter" say. Pure; any thread. */

enum class ComparisonOperator { None, Eq, Le, Lt, Ge, Gt, BeginsWith, Between, Unknown };

/** A condition once it is parsed. Values are key bytes; `high` is used by Between alone. */
struct KeyCondition {
    ComparisonOperator comparison = ComparisonOperator::None;
    QByteArray low;
    QByteArray high;
};

/**
 * Parses "ComparisonOperator" and "AttributeValueList". Without an operator nothing changes. Kept: the operators that
 * walk up from their bound set `forward`, those that walk down from it clear it, unknown ones leave it. 0; 2 with an
 * ERROR line on a malformed condition; 4 on a value that is not Latin-1. Only "S" values are accepted, as keys are
 * strings.
 */
[[nodiscard]] int parseCondition(const QVariantMap& condition, KeyCondition* parsed, bool* forward);

/**
 * Compares key bytes (as unsigned, a proper prefix first). `match` is set by every operator that is known, `stop` when
 * no later key of an upward walk can match; it is never cleared.
 *
 * Kept: an unknown operator leaves `match` as it is, so it matches every record.
 */
void matchCondition(QByteArrayView value, const KeyCondition& condition, bool* match, bool* stop);

#endif

#ifndef QUORVA_EXPRESSIONS_SETS_H
#define QUORVA_EXPRESSIONS_SETS_H

#include "items/attributevalue.h"

namespace Expressions {

bool isSet(Items::AttributeValue::Type type);

/**
 * Adds elements to a set of the same type, or removes them; false if the two are not sets of one type. No element may
 * be left, although an empty set is not a valid value.
 */
[[nodiscard]] bool changeSet(Items::AttributeValue* value, const Items::AttributeValue& elements, bool isDeletion);

bool isEmptySet(const Items::AttributeValue& value);

} // namespace Expressions

#endif

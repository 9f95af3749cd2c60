#ifndef QUORVA_EXPRESSIONS_SETS_H
#define QUORVA_EXPRESSIONS_SETS_H

#include "items/attributevalue.h"

namespace Expressions {

bool isSet(Items::AttributeValue::Type type);

/**
 * Adds elements to a set of the same type, or takes them away; false if the two are no such sets. No elements may be
 * left: such a set is no value of an item.
 */
[[nodiscard]] bool changeSet(Items::AttributeValue* value, const Items::AttributeValue& elements, bool isDeletion);

bool isEmptySet(const Items::AttributeValue& value);

} // namespace Expressions

#endif

#ifndef QUORVA_EXPRESSIONS_OLDERCONDITIONS_H
#define QUORVA_EXPRESSIONS_OLDERCONDITIONS_H

#include "expressions/condition.h"
#include "expressions/keycondition.h"

#include "items/itemjson.h"
#include "items/json.h"

#include <vector>

namespace Expressions {

/**
 * The parameters that expressions have replaced, as the same trees. Each function reads the member of a request with
 * that name, and refuses JSON types other than those of the API's model, at any depth. False, with the API's message in
 * `error`, if the parameter is not valid; the tree is then unspecified.
 */

/** Expected: a condition for each attribute in it. */
[[nodiscard]] bool readExpected(const Items::JsonValue& json, std::vector<Condition>* conditions,
                                Items::JsonError* error);

/** ScanFilter and QueryFilter: a condition for each attribute in it. */
[[nodiscard]] bool readFilter(const Items::JsonValue& json, std::vector<Condition>* conditions,
                              Items::JsonError* error);

[[nodiscard]] bool readKeyConditions(const Items::JsonValue& json, std::vector<KeyTest>* tests,
                                     Items::JsonError* error);

} // namespace Expressions

#endif

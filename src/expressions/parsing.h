#ifndef QUORVA_EXPRESSIONS_PARSING_H
#define QUORVA_EXPRESSIONS_PARSING_H

#include "expressions/condition.h"
#include "expressions/pathtree.h"
#include "expressions/placeholders.h"
#include "expressions/update.h"

#include <string>
#include <string_view>

namespace Expressions {

/**
 * Expressions to trees, with the names and values that a request defines. False, with the message of the API's
 * ValidationException in `error`, if an expression is wrong in itself: its syntax, its types, its placeholders or its
 * size. The tree is then unspecified.
 */

/** `member` is that of the request: "ConditionExpression", "FilterExpression" or "KeyConditionExpression". */
[[nodiscard]] bool parseCondition(std::string_view text, std::string_view member, Placeholders* placeholders,
                                  Condition* condition, std::string* error);

[[nodiscard]] bool parseUpdate(std::string_view text, Placeholders* placeholders, Update* update, std::string* error);

[[nodiscard]] bool parseProjection(std::string_view text, Placeholders* placeholders, PathTree* projection,
                                   std::string* error);

} // namespace Expressions

#endif

#ifndef QUORVA_TESTS_EXPRESSIONS_TEXTS_H
#define QUORVA_TESTS_EXPRESSIONS_TEXTS_H

#include "expressions/parameters.h"
#include "items/attributevalue.h"

#include <string>

/** Expressions and their results, as JSON texts. JSON texts in tests must be valid. */
namespace Texts {

Items::Item item(const std::string& json);

/** The error message for a request; empty if it is valid. */
std::string errorOf(Expressions::RequestKind kind, const std::string& request);
/** The parameters of a valid request. */
Expressions::Parameters parametersOf(Expressions::RequestKind kind, const std::string& request);

/** The error message for a ConditionExpression; empty if it is valid. */
std::string conditionError(const std::string& expression, const std::string& values = "{}",
                           const std::string& names = "{}");
/** Whether an item meets a valid condition. */
bool holds(const std::string& expression, const std::string& item, const std::string& values = "{}",
           const std::string& names = "{}");

std::string updateError(const std::string& expression, const std::string& values = "{}",
                        const std::string& names = "{}");
/** The item after an update, or the error message. */
std::string updated(const std::string& expression, const std::string& item, const std::string& values = "{}",
                    const std::string& names = "{}");

std::string projectionError(const std::string& expression, const std::string& names = "{}");
std::string projected(const std::string& expression, const std::string& item, const std::string& names = "{}");

} // namespace Texts

#endif

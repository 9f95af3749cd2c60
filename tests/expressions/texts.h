#ifndef QUORVA_TESTS_EXPRESSIONS_TEXTS_H
#define QUORVA_TESTS_EXPRESSIONS_TEXTS_H

#include "expressions/parameters.h"
#include "items/attributevalue.h"

#include <string>

/** Expressions and what they do, as JSON texts. A JSON text that a test gives has to be right. */
namespace Texts {

Items::Item item(const std::string& json);

/** The message for a request, empty if it is right. */
std::string errorOf(Expressions::RequestKind kind, const std::string& request);
/** The parameters of a request that is right. */
Expressions::Parameters parametersOf(Expressions::RequestKind kind, const std::string& request);

/** The message for a ConditionExpression, empty if it is right. */
std::string conditionError(const std::string& expression, const std::string& values = "{}",
                           const std::string& names = "{}");
/** Whether an item meets a condition that is right. */
bool holds(const std::string& expression, const std::string& item, const std::string& values = "{}",
           const std::string& names = "{}");

std::string updateError(const std::string& expression, const std::string& values = "{}",
                        const std::string& names = "{}");
/** The item after an update, or the message for it. */
std::string updated(const std::string& expression, const std::string& item, const std::string& values = "{}",
                    const std::string& names = "{}");

std::string projectionError(const std::string& expression, const std::string& names = "{}");
std::string projected(const std::string& expression, const std::string& item, const std::string& names = "{}");

} // namespace Texts

#endif

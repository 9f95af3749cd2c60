#ifndef QUORVA_EXPRESSIONS_CONDITION_H
#define QUORVA_EXPRESSIONS_CONDITION_H

#include "expressions/path.h"
#include "expressions/sharedvalue.h"

#include "items/attributevalue.h"

#include <functional>
#include <set>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace Expressions {

/** What a condition compares: a part of the item, a value of the request, or the size of either. */
struct Operand {
    std::variant<SharedValue, Path> source;
    bool isSize = false;

    const Path* path() const { return std::get_if<Path>(&source); }
    const Items::AttributeValue* value() const
    {
        const auto* value = std::get_if<SharedValue>(&source);
        return value != nullptr ? value->get() : nullptr;
    }
};

/** A condition or filter, from an expression or from the older parameters. */
struct Condition {
    enum class Kind {
        And, // two or more conditions
        Or,
        Not,   // one condition
        Equal, // two operands, from here on
        NotEqual,
        Less,
        LessOrEqual,
        Greater,
        GreaterOrEqual,
        Between,         // the value, the lower and the upper bound
        In,              // the value, and one or more to look for it in
        AttributeExists, // a path
        AttributeNotExists,
        AttributeType, // a path and a string, the API's name of a type
        BeginsWith,
        Contains,
    };
    Kind kind = Kind::And;
    std::vector<Condition> conditions;
    std::vector<Operand> operands;
};

/** The API's name of an operator or function: "=", "AND", "attribute_exists". */
std::string_view nameOf(Condition::Kind kind);

/**
 * True if an item meets the condition; null is an item without attributes. A comparison with a value that the item does
 * not have, or that has another type, is false, except that <> is true. Any thread.
 */
bool holds(const Condition& condition, const Items::Item* item);

/** The attributes that the condition refers to, entirely or in part. */
std::set<std::string, std::less<>> attributesOf(const Condition& condition);

} // namespace Expressions

#endif

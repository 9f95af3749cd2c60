#include "expressions/condition.h"

#include <array>

namespace Expressions {

std::string_view nameOf(Condition::Kind kind)
{
    static constexpr std::array<std::string_view, 16> Names = {
        "AND",
        "OR",
        "NOT",
        "=",
        "<>",
        "<",
        "<=",
        ">",
        ">=",
        "BETWEEN",
        "IN",
        "attribute_exists",
        "attribute_not_exists",
        "attribute_type",
        "begins_with",
        "contains",
    };
    return Names.at(static_cast<std::size_t>(kind));
}

std::set<std::string, std::less<>> attributesOf(const Condition& condition)
{
    std::set<std::string, std::less<>> attributes;
    for (const Operand& operand : condition.operands) {
        if (operand.path() != nullptr)
            attributes.insert(operand.path()->attribute());
    }
    for (const Condition& part : condition.conditions)
        attributes.merge(attributesOf(part));
    return attributes;
}

} // namespace Expressions

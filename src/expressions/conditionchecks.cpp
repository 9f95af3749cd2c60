#include "expressions/conditionparser.h"

#include "items/base64.h"

#include <algorithm>
#include <iterator>

namespace Expressions {

namespace {

using Items::AttributeValue;
using Kind = Condition::Kind;

constexpr std::size_t MostInOperands = 100;

/** A function, how many operands it has, and the types that those can have, if that is known without an item. */
struct Function {
    std::string_view name;
    std::size_t operands;
    std::string_view types; // the API's names, each between blanks; empty for all
};
constexpr Function Functions[] = {
    {"attribute_exists", 1, ""}, {"attribute_not_exists", 1, ""},
    {"attribute_type", 2, ""},   {"begins_with", 2, " S B "},
    {"contains", 2, ""},         {"size", 1, " S B M L SS NS BS "},
};
constexpr std::string_view OrderedTypes = " S N B ";
constexpr std::string_view ContainingTypes = " S B L SS NS BS ";
constexpr std::string_view UpdateFunctions[] = {"if_not_exists", "list_append"};

/** The name of an operand's type as far as it is known without an item; empty if it is not. */
std::string_view typeNameOf(const Operand& operand)
{
    if (operand.isSize)
        return Items::nameOf(AttributeValue::Type::Number);
    return operand.value() != nullptr ? Items::nameOf(operand.value()->type()) : std::string_view();
}

bool isAmong(std::string_view type, std::string_view allowed)
{
    return type.empty() || allowed.find(" " + std::string(type) + " ") != std::string_view::npos;
}

/** "AttributeValue: {N:5}", for the types that have an order. */
std::string shown(const AttributeValue& value)
{
    std::string text = "AttributeValue: {" + std::string(Items::nameOf(value.type())) + ":";
    if (value.asNumber() != nullptr)
        text += value.asNumber()->text();
    else
        text += value.asString() != nullptr ? *value.asString() : Items::Base64::encode(*value.asBinary());
    return text + "}";
}

} // namespace

void ConditionParser::checkFunction(std::string_view name, const std::vector<Operand>& operands)
{
    const Function* const function = std::ranges::find(Functions, name, &Function::name);
    if (function == std::end(Functions)) {
        const bool isForUpdates = std::ranges::find(UpdateFunctions, name) != std::end(UpdateFunctions);
        find(Fault::FunctionName, (isForUpdates ? "The function is not allowed in a condition expression; function: "
                                                : "Invalid function name; function: ") +
                                      std::string(name));
        return;
    }
    if (operands.size() != function->operands) {
        findOperandCount(name, operands.size());
        return;
    }
    if (name.ends_with("_exists") && (operands[0].path() == nullptr || operands[0].isSize))
        findMissingPath(name);
    if (!function->types.empty())
        checkTypes(name, operands, function->types);
    if (name == "contains" && !isAmong(typeNameOf(operands[0]), ContainingTypes))
        findOperandType(name, typeNameOf(operands[0]));
    if (name == "attribute_type")
        checkTypeName(operands[1]);
    if (operands.size() > 1)
        checkDistinct(name, operands);
}

void ConditionParser::checkTypes(std::string_view name, const std::vector<Operand>& operands, std::string_view allowed)
{
    for (const Operand& operand : operands) {
        if (!isAmong(typeNameOf(operand), allowed))
            findOperandType(name, typeNameOf(operand));
    }
}

void ConditionParser::checkTypeName(const Operand& operand)
{
    const std::string* name = operand.value() != nullptr && !operand.isSize ? operand.value()->asString() : nullptr;
    if (operand.path() != nullptr && !operand.isSize)
        findOperandType("attribute_type", "{NS,SS,L,BS,N,M,B,BOOL,NULL,S}");
    else if (name == nullptr)
        findOperandType("attribute_type", typeNameOf(operand));
    else if (!Items::typeNamed(*name))
        find(Fault::OperandType,
             "Invalid attribute type name found; type: " + *name + ", valid types: {B,NULL,SS,BOOL,L,BS,N,NS,S,M}");
}

void ConditionParser::checkComparison(const Condition& condition)
{
    const std::string_view name = nameOf(condition.kind);
    if (condition.kind == Kind::In && condition.operands.size() - 1 > MostInOperands)
        find(Fault::OperandCount, "The IN operator is provided with too many operands; number of operands: " +
                                      std::to_string(condition.operands.size() - 1));
    if (condition.kind != Kind::Equal && condition.kind != Kind::NotEqual && condition.kind != Kind::In)
        checkTypes(name, condition.operands, OrderedTypes);
    checkDistinct(name, condition.operands);
    if (condition.kind == Kind::Between)
        checkBounds(condition);
}

void ConditionParser::checkDistinct(std::string_view name, const std::vector<Operand>& operands)
{
    const Operand& first = operands.front();
    if (first.path() == nullptr || first.isSize)
        return;
    for (auto other = operands.begin() + 1; other != operands.end(); ++other) {
        if (!other->isSize && other->path() != nullptr && *other->path() == *first.path())
            find(Fault::Indistinct, "The first operand must be distinct from the remaining operands for this operator "
                                    "or function; operator: " +
                                        std::string(name) + ", first operand: " + first.path()->text());
    }
}

void ConditionParser::checkBounds(const Condition& condition)
{
    const AttributeValue* lower = condition.operands[1].isSize ? nullptr : condition.operands[1].value();
    const AttributeValue* upper = condition.operands[2].isSize ? nullptr : condition.operands[2].value();
    if (lower == nullptr || upper == nullptr || !isAmong(typeNameOf(condition.operands[1]), OrderedTypes) ||
        !isAmong(typeNameOf(condition.operands[2]), OrderedTypes))
        return;
    const char* rule = nullptr;
    if (lower->type() != upper->type())
        rule = "The BETWEEN operator requires same data type for lower and upper bounds";
    else if (Items::compare(*lower, *upper) > 0)
        rule = "The BETWEEN operator requires upper bound to be greater than or equal to lower bound";
    if (rule != nullptr)
        find(Fault::Bounds,
             std::string(rule) + "; lower bound operand: " + shown(*lower) + ", upper bound operand: " + shown(*upper));
}

} // namespace Expressions

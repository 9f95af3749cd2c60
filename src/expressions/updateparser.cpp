#include "expressions/parser.h"
#include "expressions/parsing.h"
#include "expressions/sets.h"

#include <algorithm>
#include <array>

namespace Expressions {

namespace {

using Items::AttributeValue;

constexpr std::array<std::string_view, 4> Sections = {"SET", "REMOVE", "ADD", "DELETE"};
constexpr std::array<std::string_view, 6> ConditionFunctions = {
    "attribute_exists", "attribute_not_exists", "attribute_type", "begins_with", "contains", "size"};

/** As ADD and DELETE call the types, in the order of AttributeValue::Type. */
constexpr std::array<std::string_view, AttributeValue::TypeCount> LongTypeNames = {
    "STRING", "NUMBER", "BINARY", "BOOLEAN", "NULL", "MAP", "LIST", "STRING_SET", "NUMBER_SET", "BINARY_SET"};

/**
 * Updates:
 *
 *     update  = section {section}
 *     section = SET path = sum {, path = sum} | REMOVE path {, path} | ADD path value {, path value} | DELETE, like ADD
 *     sum     = operand [+ operand | - operand] | ( sum )
 *     operand = function ( operand {, operand} ) | path | value | ( operand )
 */
class UpdateParser : public Parser {
public:
    UpdateParser(std::string_view text, Placeholders* placeholders) : Parser(text, placeholders, Sections) {}

    bool parse(Update* update);
    using Parser::error;

private:
    bool parseSection(std::string_view section, Update* update);
    bool parseAction(std::string_view section, Update* update);
    bool parseChange(Path path, std::string_view section, std::vector<Update::Change>* changes);
    bool parseSum(SetValue* value);
    bool parseOperand(SetValue* value, bool mayBeSum);
    bool parseParentheses(SetValue* value, bool mayBeSum);
    bool parseFunction(SetValue* value);
    void checkTypes(std::string_view operation, const SetValue& value, AttributeValue::Type type);

    PathTree paths_;
    bool afterParentheses_ = false; // the operand that was parsed last is in parentheses
};

bool UpdateParser::parse(Update* update)
{
    if (!begin())
        return false;
    std::array<bool, Sections.size()> isUsed = {};
    do {
        const auto* const section =
            std::ranges::find_if(Sections, [&](auto name) { return tokens().takeKeyword(name); });
        if (section == Sections.end())
            return failSyntax();
        bool& wasUsed = isUsed.at(static_cast<std::size_t>(section - Sections.begin()));
        if (wasUsed)
            find(Fault::RepeatedSection,
                 "The \"" + std::string(*section) + "\" section can only be used once in an update expression;");
        wasUsed = true;
        if (!parseSection(*section, update))
            return false;
    } while (tokens().peek().kind != Token::Kind::End);
    return end();
}

bool UpdateParser::parseSection(std::string_view section, Update* update)
{
    do {
        if (!parseAction(section, update))
            return false;
    } while (tokens().takeSymbol(","));
    return true;
}

bool UpdateParser::parseAction(std::string_view section, Update* update)
{
    std::optional<Path> path;
    if (!parsePath(&path))
        return false;
    addDistinct(*path, &paths_);
    if (section == "SET") {
        SetValue value;
        if (!expectSymbol("=") || !parseSum(&value))
            return false;
        update->assignments.push_back({std::move(*path), std::move(value)});
        return true;
    }
    if (section == "REMOVE") {
        update->removals.push_back(std::move(*path));
        return true;
    }
    return parseChange(std::move(*path), section, section == "ADD" ? &update->additions : &update->deletions);
}

bool UpdateParser::parseChange(Path path, std::string_view section, std::vector<Update::Change>* changes)
{
    if (tokens().peek().kind != Token::Kind::ValuePlaceholder)
        return failSyntax();
    changes->push_back({std::move(path), takeValue()});
    const AttributeValue::Type type = changes->back().value->type();
    if (!isSet(type) && (section != "ADD" || type != AttributeValue::Type::Number))
        find(Fault::OperandType,
             "Incorrect operand type for operator or function; operator: " + std::string(section) +
                 ", operand type: " + std::string(LongTypeNames.at(static_cast<std::size_t>(type))) +
                 ", typeSet: ALLOWED_FOR_" + std::string(section) + "_OPERAND");
    return true;
}

bool UpdateParser::parseSum(SetValue* value)
{
    if (!parseOperand(value, true))
        return false;
    const bool isPlus = tokens().isSymbol("+");
    const bool isSum = value->kind == SetValue::Kind::Plus || value->kind == SetValue::Kind::Minus;
    if ((!isPlus && !tokens().isSymbol("-")) || isSum)
        return true; // what follows a sum breaks the grammar of a section, not that of the sum
    const std::string_view operation = tokens().take().text;
    countOperator();
    SetValue second;
    if (!parseOperand(&second, false))
        return false;
    checkTypes(operation, *value, AttributeValue::Type::Number);
    checkTypes(operation, second, AttributeValue::Type::Number);
    SetValue sum;
    sum.kind = isPlus ? SetValue::Kind::Plus : SetValue::Kind::Minus;
    sum.operands.push_back(std::move(*value));
    sum.operands.push_back(std::move(second));
    *value = std::move(sum);
    afterParentheses_ = false;
    return true;
}

bool UpdateParser::parseOperand(SetValue* value, bool mayBeSum)
{
    if (tokens().isSymbol("("))
        return parseParentheses(value, mayBeSum);
    afterParentheses_ = false;
    if (isFunction())
        return parseFunction(value);
    if (tokens().peek().kind == Token::Kind::ValuePlaceholder) {
        value->kind = SetValue::Kind::Value;
        value->value = takeValue();
        return true;
    }
    value->kind = SetValue::Kind::Path;
    return parsePath(&value->path);
}

bool UpdateParser::parseParentheses(SetValue* value, bool mayBeSum)
{
    tokens().take();
    if (!enter() || !(mayBeSum ? parseSum(value) : parseOperand(value, false)) || !expectSymbol(")"))
        return false;
    leave();
    if (afterParentheses_)
        find(Fault::RedundantParentheses, "The expression has redundant parentheses;");
    afterParentheses_ = true;
    return true;
}

bool UpdateParser::parseFunction(SetValue* value)
{
    const std::string_view name = tokens().take().text;
    tokens().take(); // the parenthesis
    countOperator();
    if (!enter())
        return false;
    do {
        value->operands.emplace_back();
        if (!parseOperand(&value->operands.back(), false))
            return false;
    } while (tokens().takeSymbol(","));
    if (!expectSymbol(")"))
        return false;
    leave();
    afterParentheses_ = false;

    value->kind = name == "list_append" ? SetValue::Kind::ListAppend : SetValue::Kind::IfNotExists;
    const bool isForConditions = std::ranges::find(ConditionFunctions, name) != ConditionFunctions.end();
    if (isForConditions || (name != "list_append" && name != "if_not_exists")) {
        find(Fault::FunctionName, (isForConditions ? "The function is not allowed in an update expression; function: "
                                                   : "Invalid function name; function: ") +
                                      std::string(name));
    } else if (value->operands.size() != 2) {
        findOperandCount(name, value->operands.size());
    } else if (value->kind == SetValue::Kind::ListAppend) {
        for (const SetValue& operand : value->operands)
            checkTypes(name, operand, AttributeValue::Type::List);
    } else if (value->operands.front().kind != SetValue::Kind::Path) {
        findMissingPath(name);
    } else {
        value->path = std::move(value->operands.front().path);
        value->operands.erase(value->operands.begin());
    }
    return true;
}

/** Checks an operand whose type is known without an item. */
void UpdateParser::checkTypes(std::string_view operation, const SetValue& value, AttributeValue::Type type)
{
    AttributeValue::Type known = type;
    if (value.kind == SetValue::Kind::Value)
        known = value.value->type();
    else if (value.kind == SetValue::Kind::ListAppend)
        known = AttributeValue::Type::List;
    if (known != type)
        findOperandType(operation, Items::nameOf(known));
}

} // namespace

bool parseUpdate(std::string_view text, Placeholders* placeholders, Update* update, std::string* error)
{
    UpdateParser parser(text, placeholders);
    if (parser.parse(update))
        return true;
    *error = "Invalid UpdateExpression: " + parser.error();
    return false;
}

} // namespace Expressions

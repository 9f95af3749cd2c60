#include "expressions/conditionparser.h"

#include "expressions/parsing.h"

#include <array>
#include <utility>

namespace Expressions {

namespace {

using Kind = Condition::Kind;

constexpr std::array<std::string_view, 5> Keywords = {"AND", "OR", "NOT", "BETWEEN", "IN"};

constexpr std::array Comparators = {Kind::Equal,       Kind::NotEqual, Kind::Less,
                                    Kind::LessOrEqual, Kind::Greater,  Kind::GreaterOrEqual};
constexpr std::array FunctionKinds = {Kind::AttributeExists, Kind::AttributeNotExists, Kind::AttributeType,
                                      Kind::BeginsWith, Kind::Contains};

/** The one whose name is the text. */
template <std::size_t Count> std::optional<Kind> kindNamed(const std::array<Kind, Count>& kinds, std::string_view text)
{
    for (const Kind kind : kinds) {
        if (nameOf(kind) == text)
            return kind;
    }
    return std::nullopt;
}

} // namespace

ConditionParser::ConditionParser(std::string_view text, Placeholders* placeholders)
    : Parser(text, placeholders, Keywords)
{}

bool ConditionParser::parse(Condition* condition)
{
    Part part;
    if (!begin() || !parseOr(&part) || !requireCondition(&part) || !end())
        return false;
    *condition = std::move(part.condition);
    return true;
}

bool ConditionParser::parseChain(Part* part, std::string_view keyword, Kind kind, Parse parseNext)
{
    if (!(this->*parseNext)(part))
        return false;
    if (!tokens().isKeyword(keyword))
        return true;
    Condition chain;
    chain.kind = kind;
    if (!requireCondition(part))
        return false;
    chain.conditions.push_back(std::move(part->condition));
    while (tokens().takeKeyword(keyword)) {
        countOperator();
        Part next;
        if (!(this->*parseNext)(&next) || !requireCondition(&next))
            return false;
        chain.conditions.push_back(std::move(next.condition));
    }
    *part = {std::move(chain), std::nullopt, {}, false};
    return true;
}

bool ConditionParser::parseNot(Part* part)
{
    std::size_t nots = 0;
    while (tokens().takeKeyword("NOT")) {
        countOperator();
        ++nots;
    }
    if (!parseComparison(part) || (nots > 0 && !requireCondition(part)))
        return false;
    // Two cancel each other out, so a long row of them makes no deep tree.
    if (nots % 2 != 0) {
        Condition negation;
        negation.kind = Kind::Not;
        negation.conditions.push_back(std::move(part->condition));
        part->condition = std::move(negation);
    }
    if (nots > 0)
        *part = {std::move(part->condition), std::nullopt, {}, false};
    return true;
}

bool ConditionParser::parseComparison(Part* part)
{
    if (!parsePart(part))
        return false;
    const auto comparator =
        tokens().peek().kind == Token::Kind::Symbol ? kindNamed(Comparators, tokens().peek().text) : std::nullopt;
    const bool isBetween = tokens().isKeyword("BETWEEN");
    if (!comparator && !isBetween && !tokens().isKeyword("IN"))
        return true;
    if (!requireOperand(part))
        return false;
    Condition condition;
    condition.kind = comparator ? *comparator : isBetween ? Kind::Between : Kind::In;
    condition.operands.push_back(std::move(*part->operand));
    tokens().take();
    countOperator();
    const bool isParsed = comparator  ? parseOperand(&condition)
                          : isBetween ? parseBetween(&condition)
                                      : parseIn(&condition);
    if (!isParsed)
        return false;
    checkComparison(condition);
    *part = {std::move(condition), std::nullopt, {}, false};
    return true;
}

bool ConditionParser::parseBetween(Condition* condition)
{
    return parseOperand(condition) && (tokens().takeKeyword("AND") || failSyntax()) && parseOperand(condition);
}

bool ConditionParser::parseIn(Condition* condition)
{
    if (!expectSymbol("(") || !parseOperand(condition))
        return false;
    while (tokens().takeSymbol(",")) {
        if (!parseOperand(condition))
            return false;
    }
    return expectSymbol(")");
}

bool ConditionParser::parsePart(Part* part)
{
    if (tokens().takeSymbol("(")) {
        if (!enter() || !parseOr(part) || !expectSymbol(")"))
            return false;
        leave();
        if (part->isParenthesised)
            find(Fault::RedundantParentheses, "The expression has redundant parentheses;");
        part->isParenthesised = true;
        return true;
    }
    if (isFunction())
        return parseFunction(part);
    part->operand.emplace();
    if (tokens().peek().kind == Token::Kind::ValuePlaceholder) {
        part->operand->source = takeValue();
        return true;
    }
    std::optional<Path> path;
    if (!parsePath(&path))
        return false;
    part->operand->source = std::move(*path);
    return true;
}

bool ConditionParser::parseFunction(Part* part)
{
    const std::string_view name = tokens().take().text;
    tokens().take(); // the parenthesis
    countOperator();
    if (!enter())
        return false;
    Condition call;
    do {
        if (!parseOperand(&call))
            return false;
    } while (tokens().takeSymbol(","));
    if (!expectSymbol(")"))
        return false;
    leave();

    checkFunction(name, call.operands);
    if (name == "size") {
        part->operand = std::move(call.operands.front());
        part->operand->isSize = true;
    } else {
        call.kind = kindNamed(FunctionKinds, name).value_or(Kind::Contains);
        part->condition = std::move(call);
    }
    part->function = name;
    return true;
}

bool ConditionParser::parseOperand(Condition* condition)
{
    Part part;
    if (!parsePart(&part) || !requireOperand(&part))
        return false;
    condition->operands.push_back(std::move(*part.operand));
    return true;
}

bool ConditionParser::requireCondition(Part* part)
{
    if (!part->operand)
        return true;
    if (part->function.empty())
        return failSyntax();
    find(Fault::FunctionName,
         "The function is not allowed to be used this way in an expression; function: " + part->function);
    return true;
}

bool ConditionParser::requireOperand(Part* part)
{
    if (part->operand)
        return true;
    if (part->function.empty())
        return failSyntax();
    find(Fault::FunctionName,
         "The function is not allowed to be used this way in an expression; function: " + part->function);
    part->operand = {shared({}), false};
    return true;
}

bool parseCondition(std::string_view text, std::string_view member, Placeholders* placeholders, Condition* condition,
                    std::string* error)
{
    ConditionParser parser(text, placeholders);
    if (parser.parse(condition))
        return true;
    *error = "Invalid " + std::string(member) + ": " + parser.error();
    return false;
}

} // namespace Expressions

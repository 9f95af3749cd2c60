#ifndef QUORVA_EXPRESSIONS_CONDITIONPARSER_H
#define QUORVA_EXPRESSIONS_CONDITIONPARSER_H

#include "expressions/condition.h"
#include "expressions/parser.h"

#include <optional>
#include <string>
#include <string_view>

namespace Expressions {

/**
 * Conditions, filters and key conditions:
 *
 *     or         = and {OR and}
 *     and        = not {AND not}
 *     not        = {NOT} comparison
 *     comparison = part [comparator part | BETWEEN part AND part | IN ( part {, part} )]
 *     part       = ( or ) | function ( part {, part} ) | path | value
 *
 * Parentheses can enclose a condition or an operand, and only what follows shows which. So each part is parsed as
 * either, and where it is used it must be the right one.
 */
class ConditionParser : public Parser {
public:
    ConditionParser(std::string_view text, Placeholders* placeholders);

    bool parse(Condition* condition);
    using Parser::error;

private:
    /** A condition, or an operand if there is one. */
    struct Part {
        Condition condition;
        std::optional<Operand> operand;
        std::string function; // if the whole part is a call of it, else empty
        bool isParenthesised = false;
    };
    using Parse = bool (ConditionParser::*)(Part*);

    bool parseOr(Part* part) { return parseChain(part, "OR", Condition::Kind::Or, &ConditionParser::parseAnd); }
    bool parseAnd(Part* part) { return parseChain(part, "AND", Condition::Kind::And, &ConditionParser::parseNot); }
    bool parseChain(Part* part, std::string_view keyword, Condition::Kind kind, Parse parseNext);
    bool parseNot(Part* part);
    bool parseComparison(Part* part);
    bool parseBetween(Condition* condition);
    bool parseIn(Condition* condition);
    bool parsePart(Part* part);
    bool parseFunction(Part* part);
    bool parseOperand(Condition* condition);

    bool requireCondition(Part* part);
    bool requireOperand(Part* part);

    void checkFunction(std::string_view name, const std::vector<Operand>& operands);
    void checkTypes(std::string_view name, const std::vector<Operand>& operands, std::string_view allowed);
    void checkTypeName(const Operand& operand);
    void checkBounds(const Condition& condition);
    void checkComparison(const Condition& condition);
    void checkDistinct(std::string_view name, const std::vector<Operand>& operands);
};

} // namespace Expressions

#endif

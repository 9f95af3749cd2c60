#include "expressions/parser.h"

#include "expressions/reservedwords.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <limits>

namespace Expressions {

namespace {

constexpr std::size_t MostBytes = 4096;
constexpr std::size_t MostOperators = 300;
constexpr std::size_t MostIndex = std::numeric_limits<std::int32_t>::max();

std::string tooManyOperators(std::size_t count)
{
    return "The expression contains too many operators; operator count: " + std::to_string(count);
}

} // namespace

bool Parser::begin()
{
    if (text_.empty())
        return fail("The expression can not be empty;");
    if (text_.size() > MostBytes)
        return fail("Expression size has exceeded the maximum allowed size; expression size: " +
                    std::to_string(text_.size()));
    return true;
}

bool Parser::end()
{
    if (tokens_.peek().kind != Token::Kind::End)
        return failSyntax();
    if (operators_ > MostOperators)
        return fail(tooManyOperators(operators_));
    return findings_.message().empty() || fail(findings_.message());
}

bool Parser::isKeyword() const
{
    return std::any_of(keywords_.begin(), keywords_.end(),
                       [&](std::string_view keyword) { return tokens_.isKeyword(keyword); });
}

bool Parser::isFunction() const
{
    const Token& second = tokens_.peekSecond();
    return tokens_.peek().kind == Token::Kind::Word && !isKeyword() && second.kind == Token::Kind::Symbol &&
           second.text == "(";
}

bool Parser::enter()
{
    // Each level needs an operator, a function or parentheses that say something, of which there cannot be more.
    return ++depth_ <= MostOperators + 1 || fail(tooManyOperators(depth_));
}

std::string Parser::takeName()
{
    const Token token = tokens_.take();
    if (token.kind == Token::Kind::NamePlaceholder) {
        if (const std::string* name = placeholders_->name(token.text))
            return *name;
        find(Fault::Undefined,
             "An expression attribute name used in the document path is not defined; attribute name: " +
                 std::string(token.text));
    } else if (isReserved(token.text)) {
        find(Fault::ReservedWord, "Attribute name is a reserved keyword; reserved keyword: " + std::string(token.text));
    }
    return std::string(token.text);
}

bool Parser::parsePath(std::optional<Path>* path)
{
    const auto isName = [&] {
        const Token::Kind kind = tokens_.peek().kind;
        return kind == Token::Kind::Word || kind == Token::Kind::NamePlaceholder;
    };
    if (!isName() || isKeyword())
        return failSyntax();
    path->emplace(takeName());
    while (tokens_.isSymbol(".") || tokens_.isSymbol("[")) {
        if (tokens_.takeSymbol(".")) {
            if (!isName())
                return failSyntax();
            (*path)->append(takeName());
        } else if (!parseElement(&**path)) {
            return false;
        }
    }
    if ((*path)->elements().size() > static_cast<std::size_t>(Items::MostLevels))
        find(Fault::Nesting, "The document path has too many nesting elements; nesting levels: " +
                                 std::to_string((*path)->elements().size()));
    return true;
}

bool Parser::parseElement(Path* path)
{
    tokens_.take(); // the bracket
    if (tokens_.peek().kind != Token::Kind::Digits)
        return failSyntax();
    const std::string_view digits = tokens_.take().text;
    std::size_t index = 0;
    const auto [rest, code] = std::from_chars(digits.data(), digits.data() + digits.size(), index);
    if (code != std::errc() || index > MostIndex)
        find(Fault::ListIndex, "List index is not within the allowable range; index: [" + std::string(digits) + "]");
    path->append(index);
    return expectSymbol("]");
}

SharedValue Parser::takeValue()
{
    const Token token = tokens_.take();
    if (SharedValue value = placeholders_->value(token.text))
        return value;
    find(Fault::Undefined, "An expression attribute value used in expression is not defined; attribute value: " +
                               std::string(token.text));
    return shared({});
}

void Parser::findOperandType(std::string_view operation, std::string_view type)
{
    find(Fault::OperandType, "Incorrect operand type for operator or function; operator or function: " +
                                 std::string(operation) + ", operand type: " + std::string(type));
}

void Parser::findOperandCount(std::string_view function, std::size_t count)
{
    find(Fault::OperandCount, "Incorrect number of operands for operator or function; operator or function: " +
                                  std::string(function) + ", number of operands: " + std::to_string(count));
}

void Parser::findMissingPath(std::string_view function)
{
    find(Fault::NoPath,
         "Operator or function requires a document path; operator or function: " + std::string(function));
}

void Parser::addDistinct(const Path& path, PathTree* paths)
{
    const auto clash = paths->add(path);
    if (!clash)
        return;
    const bool isOverlap = clash->kind == PathTree::Clash::Kind::Overlap;
    find(isOverlap ? Fault::Overlap : Fault::Conflict,
         std::string("Two document paths ") + (isOverlap ? "overlap" : "conflict") +
             " with each other; must remove or rewrite one of these paths; path one: " + clash->first.text() +
             ", path two: " + path.text());
}

} // namespace Expressions

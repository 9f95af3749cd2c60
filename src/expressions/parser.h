#ifndef QUORVA_EXPRESSIONS_PARSER_H
#define QUORVA_EXPRESSIONS_PARSER_H

#include "expressions/findings.h"
#include "expressions/lexer.h"
#include "expressions/path.h"
#include "expressions/pathtree.h"
#include "expressions/placeholders.h"

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

namespace Expressions {

/**
 * What the parsers of all expressions share: paths, values, limits and error messages. The parsing functions return
 * false if the text breaks the grammar; the error is then set, and the next token is the one that breaks it.
 */
class Parser {
public:
    Parser(const Parser&) = delete;
    Parser& operator=(const Parser&) = delete;

protected:
    /** `keywords` in capitals: words that the grammar uses, so that no path can begin with one. */
    Parser(std::string_view text, Placeholders* placeholders, std::span<const std::string_view> keywords)
        : text_(text), tokens_(text), placeholders_(placeholders), keywords_(keywords)
    {}
    ~Parser() = default;

    /** False if the text must not be parsed at all: it is empty or too long. */
    bool begin();
    /** True if the text ends where the grammar does, and nothing in it is wrong. */
    bool end();
    /** What is wrong, without the "Invalid UpdateExpression: " that precedes it. */
    const std::string& error() const { return error_; }

    Tokens& tokens() { return tokens_; }
    bool isKeyword() const;
    /** The next token is a word and a parenthesis. */
    bool isFunction() const;

    bool failSyntax() { return fail(tokens_.syntaxError()); }
    bool expectSymbol(std::string_view symbol) { return tokens_.takeSymbol(symbol) || failSyntax(); }
    bool parsePath(std::optional<Path>* path);
    /** What the placeholder that is the next token stands for. */
    SharedValue takeValue();

    void countOperator() { ++operators_; }
    /** Called around constructs that may contain themselves. False if the nesting is deeper than any expression allows.
     */
    bool enter();
    void leave() { --depth_; }

    void find(Fault fault, std::string message) { findings_.add(fault, std::move(message)); }
    void findOperandType(std::string_view operation, std::string_view type);
    void findOperandCount(std::string_view function, std::size_t count);
    void findMissingPath(std::string_view function);
    /** Adds a path to those that must not clash. */
    void addDistinct(const Path& path, PathTree* paths);

private:
    bool fail(std::string message)
    {
        error_ = std::move(message);
        return false;
    }
    bool parseElement(Path* path);
    std::string takeName();

    std::string_view text_;
    Tokens tokens_;
    Placeholders* placeholders_; // not owned
    std::span<const std::string_view> keywords_;
    Findings findings_;
    std::string error_;
    std::size_t operators_ = 0;
    std::size_t depth_ = 0;
};

} // namespace Expressions

#endif

#ifndef QUORVA_EXPRESSIONS_LEXER_H
#define QUORVA_EXPRESSIONS_LEXER_H

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Expressions {

struct Token {
    enum class Kind {
        End,
        Word,             // a letter or an underscore, then letters, digits and underscores
        NamePlaceholder,  // #word or #1
        ValuePlaceholder, // :word or :1
        Digits,
        Symbol, // an operator, a bracket or anything else: one character, or "<>", "<=" or ">="
    };
    Kind kind = Kind::End;
    std::string_view text; // in the expression; empty for End
};

/**
 * An expression as tokens, read one after the other. Every text is a sequence of tokens; whether they mean anything is
 * up to the parsers. The text must outlive the tokens.
 */
class Tokens {
public:
    explicit Tokens(std::string_view text);

    const Token& peek() const { return tokens_[next_]; }
    /** The token after the next one; End if there is none. */
    const Token& peekSecond() const { return tokens_[next_ + 1 < tokens_.size() ? next_ + 1 : next_]; }
    /** The next token; moves past it unless it is End. */
    const Token& take();

    bool isSymbol(std::string_view symbol) const { return peek().kind == Token::Kind::Symbol && peek().text == symbol; }
    /** True if the next token is the keyword, given in upper case; the expression may have it in any case. */
    bool isKeyword(std::string_view keyword) const;
    /** Move past the next token if it is that one. */
    bool takeSymbol(std::string_view symbol);
    bool takeKeyword(std::string_view keyword);

    /** The API's message that the grammar does not allow the next token. */
    std::string syntaxError() const;

private:
    std::string_view text_;
    std::vector<Token> tokens_; // the last is End
    std::size_t next_ = 0;
};

/** With ASCII letters in upper case. */
std::string inCapitals(std::string_view text);

} // namespace Expressions

#endif

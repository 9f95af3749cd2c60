#include "expressions/lexer.h"

namespace Expressions {

namespace {

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

bool isWordStart(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_';
}

bool isWordPart(char c)
{
    return isWordStart(c) || isDigit(c);
}

bool isBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

/** The index after the characters from `from` on that are all parts. */
template <typename Predicate> std::size_t lengthOf(std::string_view text, std::size_t from, Predicate isPart)
{
    while (from < text.size() && isPart(text[from]))
        ++from;
    return from;
}

/** A whole UTF-8 sequence, so that an error message never shows half a character. */
std::size_t symbolLength(std::string_view text)
{
    const std::string_view pair = text.substr(0, 2);
    if (pair == "<>" || pair == "<=" || pair == ">=")
        return 2;
    return lengthOf(text, 1, [](char c) { return (static_cast<unsigned char>(c) & 0xC0) == 0x80; });
}

/** The first token of a text that begins with one. */
Token firstToken(std::string_view text)
{
    const char first = text.front();
    if (isWordStart(first))
        return {Token::Kind::Word, text.substr(0, lengthOf(text, 1, isWordPart))};
    if (isDigit(first))
        return {Token::Kind::Digits, text.substr(0, lengthOf(text, 1, isDigit))};
    if ((first == '#' || first == ':') && text.size() > 1 && isWordPart(text[1])) {
        const auto kind = first == '#' ? Token::Kind::NamePlaceholder : Token::Kind::ValuePlaceholder;
        return {kind, text.substr(0, lengthOf(text, 1, isWordPart))};
    }
    return {Token::Kind::Symbol, text.substr(0, symbolLength(text))};
}

bool equalsKeyword(std::string_view word, std::string_view keyword)
{
    return word.size() == keyword.size() && inCapitals(word) == keyword;
}

} // namespace

Tokens::Tokens(std::string_view text) : text_(text)
{
    std::size_t at = 0;
    while ((at = lengthOf(text, at, isBlank)) < text.size()) {
        tokens_.push_back(firstToken(text.substr(at)));
        at += tokens_.back().text.size();
    }
    tokens_.push_back({Token::Kind::End, text.substr(text.size())});
}

const Token& Tokens::take()
{
    const Token& token = tokens_[next_];
    if (token.kind != Token::Kind::End)
        ++next_;
    return token;
}

bool Tokens::isKeyword(std::string_view keyword) const
{
    return peek().kind == Token::Kind::Word && equalsKeyword(peek().text, keyword);
}

bool Tokens::takeSymbol(std::string_view symbol)
{
    const bool is = isSymbol(symbol);
    if (is)
        take();
    return is;
}

bool Tokens::takeKeyword(std::string_view keyword)
{
    const bool is = isKeyword(keyword);
    if (is)
        take();
    return is;
}

std::string Tokens::syntaxError() const
{
    // The text near a token is that from the token before it to the one after it.
    const Token& first = tokens_[next_ > 0 ? next_ - 1 : 0];
    const Token& last = peekSecond().kind == Token::Kind::End ? peek() : peekSecond();
    const bool atEnd = peek().kind == Token::Kind::End;
    const char* const begin = first.text.data();
    const std::string_view& lastText = (atEnd ? first : last).text;
    const std::string near(begin, lastText.data() + lastText.size());
    return "Syntax error; token: \"" + std::string(atEnd ? "<EOF>" : peek().text) + "\", near: \"" + near + "\"";
}

std::string inCapitals(std::string_view text)
{
    std::string result(text);
    for (char& c : result) {
        if (c >= 'a' && c <= 'z')
            c = static_cast<char>(c - 'a' + 'A');
    }
    return result;
}

} // namespace Expressions

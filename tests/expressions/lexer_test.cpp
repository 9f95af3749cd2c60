#include "expressions/lexer.h"
#include "expressions/reservedwords.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using Expressions::Token;
using Expressions::Tokens;

namespace {

std::vector<std::string> tokensOf(std::string_view text)
{
    Tokens tokens(text);
    std::vector<std::string> texts;
    while (tokens.peek().kind != Token::Kind::End)
        texts.emplace_back(tokens.take().text);
    return texts;
}

TEST(Tokens, AreWordsPlaceholdersDigitsAndSymbols)
{
    using List = std::vector<std::string>;
    EXPECT_EQ(tokensOf(" a.#b_1[12]<>:c\t\r\n"), (List{"a", ".", "#b_1", "[", "12", "]", "<>", ":c"}));
    EXPECT_EQ(tokensOf("a<=b>=c<d>e=f"), (List{"a", "<=", "b", ">=", "c", "<", "d", ">", "e", "=", "f"}));
    EXPECT_EQ(tokensOf("1a # : #1"), (List{"1", "a", "#", ":", "#1"}));
    EXPECT_EQ(tokensOf("a-ü!=\xff"), (List{"a", "-", "ü", "!", "=", "\xff"}));
    EXPECT_EQ(tokensOf(" "), List());
    EXPECT_EQ(tokensOf({"a\0b", 3}), (List{"a", std::string(1, '\0'), "b"}));
}

TEST(Tokens, EndIsNeverPassed)
{
    Tokens tokens("a");
    tokens.take();
    EXPECT_EQ(tokens.take().kind, Token::Kind::End);
    EXPECT_EQ(tokens.take().kind, Token::Kind::End);
    EXPECT_EQ(tokens.peekSecond().kind, Token::Kind::End);
}

TEST(Tokens, SyntaxErrorShowsTheTokenAndItsNeighbours)
{
    Tokens tokens("a  x b c");
    EXPECT_EQ(tokens.syntaxError(), R"(Syntax error; token: "a", near: "a  x")");
    tokens.take();
    EXPECT_EQ(tokens.syntaxError(), R"(Syntax error; token: "x", near: "a  x b")");
    while (tokens.peek().text != "c")
        tokens.take();
    EXPECT_EQ(tokens.syntaxError(), R"(Syntax error; token: "c", near: "b c")");
    tokens.take();
    EXPECT_EQ(tokens.syntaxError(), R"(Syntax error; token: "<EOF>", near: "c")");
    EXPECT_EQ(Tokens("").syntaxError(), R"(Syntax error; token: "<EOF>", near: "")");
}

TEST(Tokens, KeywordsAreOfAnyCase)
{
    Tokens tokens("bEtWeen betweens");
    EXPECT_FALSE(tokens.takeKeyword("IN"));
    EXPECT_TRUE(tokens.takeKeyword("BETWEEN"));
    EXPECT_FALSE(tokens.isKeyword("BETWEEN"));
}

TEST(ReservedWords, AreOfAnyCase)
{
    for (const char* word : {"ABORT", "name", "Status", "ZONE", "flattern", "SQLEXCEPTION", "ttl", "Count"})
        EXPECT_TRUE(Expressions::isReserved(word)) << word;
    for (const char* word : {"", "ABOR", "ABORTS", "ZZ", "id", "pk", "title", "nam", "price", "email"})
        EXPECT_FALSE(Expressions::isReserved(word)) << word;
}

} // namespace

#include "tools/shellwords.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Words = std::vector<std::string>;

Words wordsOf(const std::string& text)
{
    const ShellWords::Line line = ShellWords::split(text);
    EXPECT_FALSE(line.isOpen) << text;
    return line.words;
}

} // namespace

TEST(ShellWords, AreSeparatedByBlanks)
{
    EXPECT_EQ(wordsOf(""), Words());
    EXPECT_EQ(wordsOf("  \t "), Words());
    EXPECT_EQ(wordsOf("get  T a\tb "), Words({"get", "T", "a", "b"}));
}

TEST(ShellWords, AreQuotedAsInAShell)
{
    EXPECT_EQ(wordsOf("'a b' \"c d\" e\\ f"), Words({"a b", "c d", "e f"}));
    EXPECT_EQ(wordsOf(R"('\"' "\"\\\a" \\ \')"), Words({"\\\"", "\"\\\\a", "\\", "'"}));
    EXPECT_EQ(wordsOf("'' a'b'\"c\"d"), Words({"", "abcd"}));
    EXPECT_EQ(wordsOf("'{\"S\": \"it'\\''s\"}'"), Words({"{\"S\": \"it's\"}"}));
}

TEST(ShellWords, NeedNoQuotesForTheCharactersOfPipesAndPatterns)
{
    EXPECT_EQ(wordsOf("scan build/shop|orders $HOME * #x ~ a;b & >"),
              Words({"scan", "build/shop|orders", "$HOME", "*", "#x", "~", "a;b", "&", ">"}));
}

TEST(ShellWords, AreOpenUntilTheirQuoteIsClosed)
{
    for (const char* text : {"'a", "\"a", "\"a\\\"", "a 'b' 'c", "a\\"})
        EXPECT_TRUE(ShellWords::split(text).isOpen) << text;
    EXPECT_EQ(wordsOf("'a\nb'"), Words({"a\nb"}));
}

TEST(ShellWords, TellWhereTheLastOneBegins)
{
    EXPECT_EQ(ShellWords::split("get 'a b").lastBegin, 4U);
    EXPECT_TRUE(ShellWords::split("get 'a b").endsInWord);
    EXPECT_EQ(ShellWords::split("get ").lastBegin, 4U);
    EXPECT_FALSE(ShellWords::split("get ").endsInWord);
    EXPECT_EQ(ShellWords::split("").lastBegin, 0U);
}

TEST(ShellWords, AreWrittenWithQuotesOnlyWhereTheyNeedThem)
{
    EXPECT_EQ(ShellWords::quoted("build/shop|orders"), "build/shop|orders");
    EXPECT_EQ(ShellWords::quoted(""), "''");
    EXPECT_EQ(ShellWords::quoted("", true), "");
    EXPECT_EQ(ShellWords::quoted("a b"), "'a b'");
    EXPECT_EQ(ShellWords::quoted("a b", true), "'a b");
    for (const char* word : {"it's", "a\\b", "\"", "a\nb", "'", " "})
        EXPECT_EQ(wordsOf(ShellWords::quoted(word)), Words({word}));
}

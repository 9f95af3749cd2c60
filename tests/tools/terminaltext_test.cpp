#include "tools/terminaltext.h"

#include <gtest/gtest.h>

TEST(TerminalText, EscapesWhatATerminalWouldObey)
{
    EXPECT_EQ(TerminalText::escaped("a\tb\nc\r").toStdString(), "a\\tb\\nc\\r");
    EXPECT_EQ(TerminalText::escaped(QString("\x1b[31m") + QChar(0x9b) + QChar(0x7f)).toStdString(),
              "\\u001b[31m\\u009b\\u007f");
    EXPECT_EQ(TerminalText::escaped(QString::fromUtf16(u"\u202eabc\u2066")).toStdString(), "\\u202eabc\\u2066");
    EXPECT_EQ(TerminalText::escaped("größer ✓ 😀 \"\\").toStdString(), "größer ✓ 😀 \"\\");
}

TEST(TerminalText, MakesAnyNameALineThatATerminalOnlyShows)
{
    EXPECT_EQ(TerminalText::printable(std::string("größer ✓")), "größer ✓");
    EXPECT_EQ(TerminalText::printable(std::string("two\nlines\033[2J")), "two\\nlines\\u001b[2J");
    EXPECT_EQ(TerminalText::printable(std::string_view("a\0b", 3)), "a\\u0000b");
    EXPECT_EQ(TerminalText::printable(std::string("gr\xf6\xdf"
                                                  "er\n")),
              "gr\\xf6\\xdf"
              "er\\n"); // not UTF-8
}

TEST(TerminalText, CountsTheColumnsOfCharactersInUtf8)
{
    EXPECT_EQ(TerminalText::width(QString("")), 0);
    EXPECT_EQ(TerminalText::width(QString("größer")), 6);
    EXPECT_EQ(TerminalText::width(QString("東京")), 4);
    EXPECT_EQ(TerminalText::width(QString("😀")), 2);
    EXPECT_EQ(TerminalText::width(QString("e\u0301")), 1); // a combining accent
}

TEST(TerminalText, CutsAtAColumnAndNotInsideACharacter)
{
    EXPECT_EQ(TerminalText::cut("abcdef", 6).toStdString(), "abcdef");
    EXPECT_EQ(TerminalText::cut("abcdefg", 6).toStdString(), "abcde…");
    EXPECT_EQ(TerminalText::cut("東京大阪", 6).toStdString(), "東京…");
    EXPECT_EQ(TerminalText::cut("😀😀😀", 5).toStdString(), "😀😀…");
}

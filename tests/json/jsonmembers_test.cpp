#include "json/jsonmembers.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

/** The members as "NAME|NAMETEXT|VALUE". */
std::vector<std::string> membersOf(const QByteArray& text)
{
    std::vector<Json::Member> members;
    EXPECT_TRUE(Json::findMembers(text, &members)) << text.toStdString();
    std::vector<std::string> lines;
    for (const Json::Member& member : members)
        lines.push_back(
            (member.name + '|' + member.nameText.toByteArray() + '|' + member.value.toByteArray()).toStdString());
    return lines;
}

using Lines = std::vector<std::string>;

} // namespace

TEST(FindMembers, ValuesOfEveryKindStandAsTheyAre)
{
    EXPECT_EQ(
        membersOf(R"({"s":"a\"}{,:","n":-1.50E+40,"i":7,"t":true,"f":false,"z":null,"o":{"a":{"b":[]}},"l":[{},[1]]})"),
        (Lines{R"(s|"s"|"a\"}{,:")", R"(n|"n"|-1.50E+40)", R"(i|"i"|7)", R"(t|"t"|true)", R"(f|"f"|false)",
               R"(z|"z"|null)", R"(o|"o"|{"a":{"b":[]}})", R"(l|"l"|[{},[1]])"}));
}

TEST(FindMembers, WhiteSpaceAroundValuesIsExcluded)
{
    EXPECT_EQ(membersOf(" {\n\t\"a\" :\r 1 ,\n \"b\" : { \"c\" : [ 2 , 3 ] } } \n"),
              (Lines{R"(a|"a"|1)", R"(b|"b"|{ "c" : [ 2 , 3 ] })"}));
}

TEST(FindMembers, NamesAreDecodedAndOrderAndRepetitionKept)
{
    EXPECT_EQ(membersOf(R"({"z":1,"\u0061\"":2,"ü✓":3,"z":4})"),
              (Lines{R"(z|"z"|1)", R"(a"|"\u0061\""|2)", R"(ü✓|"ü✓"|3)", R"(z|"z"|4)"}));
}

TEST(FindMembers, AnEmptyObjectHasNone)
{
    EXPECT_EQ(membersOf("{}"), Lines());
    EXPECT_EQ(membersOf(" { } "), Lines());
}

TEST(FindMembers, WhatIsNoObjectIsRefused)
{
    using namespace std::string_literals;
    for (const std::string& text :
         {""s, " "s, "1"s, "\"a\""s, "null"s, "[]"s, "[{}]"s, "{"s, "{\"a\"}"s, "{\"a\":}"s, "{\"a\":1,}"s,
          "{\"a\":007}"s, "{\"a\":1}}"s, "{\"a\":1} {}"s, "{\"a\":\"\xff\"}"s, "{\"a\":1}\0"s, "{\"a\":\"\0\"}"s}) {
        std::vector<Json::Member> members;
        EXPECT_FALSE(Json::findMembers(QByteArray::fromStdString(text), &members)) << text;
    }
}

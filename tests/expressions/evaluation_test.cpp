#include "expressions/texts.h"

#include <gtest/gtest.h>

using Texts::holds;

namespace {

constexpr const char* Item = R"({
    "s": {"S": "héllo"}, "n": {"N": "10"}, "b": {"B": "AAEC"}, "t": {"BOOL": true}, "z": {"NULL": true},
    "l": {"L": [{"S": "a"}, {"N": "5"}, {"M": {"x": {"N": "1"}}}]},
    "m": {"M": {"a.b": {"S": "dots"}, "in": {"L": [{"L": [{"S": "deep"}]}]}}},
    "ss": {"SS": ["a", "b"]}, "ns": {"NS": ["1", "2.50"]}, "bs": {"BS": ["AAEC", "/w=="]}})";

struct Case {
    const char* expression;
    const char* values;
    bool isMet;
    const char* names = "{}";
};

void expectAll(std::initializer_list<Case> cases)
{
    for (const Case& c : cases)
        EXPECT_EQ(holds(c.expression, Item, c.values, c.names), c.isMet) << c.expression << " " << c.values;
}

TEST(Evaluation, ComparesValuesOfTheSameType)
{
    expectAll({{"n = :v", R"({":v": {"N": "1.0e1"}})", true},
               {"n <> :v", R"({":v": {"N": "10"}})", false},
               {"n < :v", R"({":v": {"N": "9"}})", false},
               {"n <= :v", R"({":v": {"N": "10"}})", true},
               {"n > :v", R"({":v": {"N": "9.99999999999999999999999999999999999"}})", true},
               {"n >= :v", R"({":v": {"N": "10.1"}})", false},
               {"s > :v", R"({":v": {"S": "hz"}})", true}, // bytes, not letters
               {"b < :v", R"({":v": {"B": "gA=="}})", true},
               {":v < n", R"({":v": {"N": "9"}})", true},
               {"ss = :v", R"({":v": {"SS": ["b", "a"]}})", true},
               {"ns = :v", R"({":v": {"NS": ["2.5", "1.0"]}})", true},
               {"l[2] = :v", R"({":v": {"M": {"x": {"N": "1.0"}}}})", true},
               {"t = :v", R"({":v": {"BOOL": true}})", true},
               {"z = :v", R"({":v": {"NULL": true}})", true}});
}

TEST(Evaluation, ComparingDifferentTypesIsFalse)
{
    expectAll({{"n = :v", R"({":v": {"S": "10"}})", false},
               {"n <> :v", R"({":v": {"S": "10"}})", true},
               {"n < :v", R"({":v": {"S": "9"}})", false},
               {"n >= :v", R"({":v": {"S": "9"}})", false},
               {"s < b", "{}", false},
               {"s >= b", "{}", false},
               {"n BETWEEN :v AND :w", R"({":v": {"S": "0"}, ":w": {"S": "9"}})", false},
               {"t < n", "{}", false},
               {"b = :v", R"({":v": {"S": "AAEC"}})", false}});
}

TEST(Evaluation, WhatIsMissingIsOnlyUnequal)
{
    expectAll({{"x = :v", R"({":v": {"N": "1"}})", false},
               {"x <> :v", R"({":v": {"N": "1"}})", true},
               {"x < :v", R"({":v": {"N": "1"}})", false},
               {"NOT x < :v", R"({":v": {"N": "1"}})", true},
               {"x = y", "{}", false},
               {"x <> y", "{}", true},
               {"n <> y", "{}", true},
               {"x BETWEEN :v AND :v", R"({":v": {"N": "1"}})", false},
               {"n BETWEEN x AND n2", "{}", false},
               {"x IN (:v)", R"({":v": {"N": "1"}})", false},
               {"begins_with(x, :v)", R"({":v": {"S": ""}})", false},
               {"contains(x, :v)", R"({":v": {"S": "a"}})", false},
               {"size(x) = :v", R"({":v": {"N": "0"}})", false},
               {"l[3] = :v", R"({":v": {"N": "1"}})", false},
               {"n.x = :v", R"({":v": {"N": "1"}})", false},
               {"m[0] = :v", R"({":v": {"N": "1"}})", false}});
}

TEST(Evaluation, FindsNestedValues)
{
    expectAll({{"m.#d = :v", R"({":v": {"S": "dots"}})", true, R"({"#d": "a.b"})"},
               {"m.#in[0][0] = :v", R"({":v": {"S": "deep"}})", true, R"({"#in": "in"})"},
               {"l[2].x = :v", R"({":v": {"N": "1"}})", true},
               {"attribute_exists(l[2].x)", "{}", true},
               {"attribute_exists(l[2].y)", "{}", false},
               {"attribute_not_exists(l[9])", "{}", true}});
}

TEST(Evaluation, BetweenAndInIncludeTheirOperands)
{
    expectAll({{"n BETWEEN :a AND :b", R"({":a": {"N": "10"}, ":b": {"N": "10"}})", true},
               {"n BETWEEN :a AND :b", R"({":a": {"N": "10.1"}, ":b": {"N": "11"}})", false},
               {":a BETWEEN l[1] AND n", R"({":a": {"N": "7"}})", true},
               {"n IN (:a, :b)", R"({":a": {"S": "10"}, ":b": {"N": "10"}})", true},
               {"n IN (x, :b)", R"({":b": {"N": "11"}})", false},
               {"t IN (:a)", R"({":a": {"BOOL": true}})", true}});
}

TEST(Evaluation, FunctionsKnowTypes)
{
    expectAll({{"attribute_type(z, :v)", R"({":v": {"S": "NULL"}})", true},
               {"attribute_type(bs, :v)", R"({":v": {"S": "BS"}})", true},
               {"attribute_type(s, :v)", R"({":v": {"S": "N"}})", false},
               {"begins_with(s, :v)", R"({":v": {"S": "hé"}})", true},
               {"begins_with(s, :v)", R"({":v": {"B": "aA=="}})", false},
               {"begins_with(b, :v)", R"({":v": {"B": "AAE="}})", true},
               {"contains(s, :v)", R"({":v": {"S": "llo"}})", true},
               {"contains(b, :v)", R"({":v": {"B": "AQI="}})", true},
               {"contains(ss, :v)", R"({":v": {"S": "a"}})", true},
               {"contains(ss, :v)", R"({":v": {"N": "1"}})", false},
               {"contains(ns, :v)", R"({":v": {"N": "2.5"}})", true},
               {"contains(bs, :v)", R"({":v": {"B": "/w=="}})", true},
               {"contains(l, :v)", R"({":v": {"M": {"x": {"N": "1"}}}})", true},
               {"contains(l, :v)", R"({":v": {"S": "b"}})", false},
               {"contains(n, :v)", R"({":v": {"N": "1"}})", false}});
}

TEST(Evaluation, SizeCountsCharactersBytesAndElements)
{
    expectAll({{"size(s) = :v", R"({":v": {"N": "5"}})", true},
               {"size(b) = :v", R"({":v": {"N": "3"}})", true},
               {"size(l) = :v", R"({":v": {"N": "3"}})", true},
               {"size(m) = :v", R"({":v": {"N": "2"}})", true},
               {"size(ss) = :v", R"({":v": {"N": "2"}})", true},
               {"size(ns) = :v", R"({":v": {"N": "2"}})", true},
               {"size(bs) = :v", R"({":v": {"N": "2"}})", true},
               {"size(n) = :v", R"({":v": {"N": "2"}})", false},
               {"size(n) <> :v", R"({":v": {"N": "2"}})", true},
               {"size(s) > size(b)", "{}", true},
               {"size(:v) = size(b)", R"({":v": {"S": "abc"}})", true}});
}

TEST(Evaluation, NotBindsBeforeAndBeforeOr)
{
    const char* values = R"({":y": {"N": "10"}, ":n": {"N": "11"}})";
    expectAll({{"n = :y OR n = :y AND n = :n", values, true},
               {"(n = :y OR n = :y) AND n = :n", values, false},
               {"NOT n = :y OR n = :y AND n <> :n", values, true},
               {"NOT (n = :y OR n = :n)", values, false},
               {"NOT NOT n = :y and not n = :n", values, true},
               {"n = :n or NOT n BETWEEN :n AND :n and n in (:y)", values, true}});
}

TEST(Evaluation, NoItemIsOneWithoutAttributes)
{
    const auto parameters =
        Texts::parametersOf(Expressions::RequestKind::Put, R"x({"ConditionExpression": "attribute_not_exists(s)"})x");
    EXPECT_TRUE(Expressions::holds(*parameters.condition, nullptr));
    const Items::Item item = Texts::item(Item);
    EXPECT_FALSE(Expressions::holds(*parameters.condition, &item));
}

} // namespace

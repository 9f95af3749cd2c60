#include "expressions/texts.h"

#include <gtest/gtest.h>

using Texts::projected;
using Texts::projectionError;

namespace {

TEST(Projection, KeepsWhatContainsTheParts)
{
    const char* item = R"({"a": {"S": "a"}, "m": {"M": {"x": {"N": "1"}, "y": {"M": {"z": {"N": "2"}}}}},
        "l": {"L": [{"N": "0"}, {"M": {"x": {"N": "1"}, "y": {"N": "2"}}}, {"N": "2"}]}})";
    EXPECT_EQ(projected("a", item), R"({"a":{"S":"a"}})");
    EXPECT_EQ(projected("m.y.z, a", item), R"({"a":{"S":"a"},"m":{"M":{"y":{"M":{"z":{"N":"2"}}}}}})");
    EXPECT_EQ(projected("l[2], l[0]", item), R"({"l":{"L":[{"N":"0"},{"N":"2"}]}})");
    EXPECT_EQ(projected("l[1].y, m.x", item), R"({"l":{"L":[{"M":{"y":{"N":"2"}}}]},"m":{"M":{"x":{"N":"1"}}}})");
    EXPECT_EQ(projected("#n, m.#n", R"({"a.b": {"S": "top"}, "m": {"M": {"a.b": {"S": "in"}, "a": {"S": "no"}}}})",
                        R"({"#n": "a.b"})"),
              R"({"a.b":{"S":"top"},"m":{"M":{"a.b":{"S":"in"}}}})");
}

TEST(Projection, LeavesOutWhatHasNone)
{
    const char* item = R"({"m": {"M": {"x": {"N": "1"}}}, "l": {"L": [{"N": "0"}]}, "e": {"M": {}}})";
    EXPECT_EQ(projected("x, m.y, l[1], l[0][0], e.x", item), "{}");
}

TEST(Projection, PathsMustNotClash)
{
    EXPECT_EQ(projectionError("a, b.c, b"),
              "Invalid ProjectionExpression: Two document paths overlap with each other; must remove or rewrite one of "
              "these paths; path one: [b, c], path two: [b]");
    EXPECT_EQ(
        projectionError("a.b, a[0]"),
        "Invalid ProjectionExpression: Two document paths conflict with each other; must remove or rewrite one of "
        "these paths; path one: [a, b], path two: [a, [0]]");
}

TEST(Projection, IsPathsAndCommas)
{
    EXPECT_EQ(projectionError(""), "Invalid ProjectionExpression: The expression can not be empty;");
    EXPECT_EQ(projectionError("a,"), R"(Invalid ProjectionExpression: Syntax error; token: "<EOF>", near: ",")");
    EXPECT_EQ(projectionError("a,,b"), R"(Invalid ProjectionExpression: Syntax error; token: ",", near: ",,b")");
    EXPECT_EQ(projectionError("a b"), R"(Invalid ProjectionExpression: Syntax error; token: "b", near: "a b")");
    EXPECT_EQ(projectionError("cache-control"),
              R"(Invalid ProjectionExpression: Syntax error; token: "-", near: "cache-control")");
    EXPECT_EQ(projectionError("size(a)"),
              R"x(Invalid ProjectionExpression: Syntax error; token: "(", near: "size(a")x");
    EXPECT_EQ(projectionError("a, Size"),
              "Invalid ProjectionExpression: Attribute name is a reserved keyword; reserved keyword: Size");
    EXPECT_EQ(projectionError("set_, x.y"), "");
}

} // namespace

#include "expressions/texts.h"

#include <gtest/gtest.h>

#include <string>

using Texts::conditionError;
using Texts::holds;
using Texts::projectionError;
using Texts::updated;
using Texts::updateError;

namespace {

/** `count` times the text. */
std::string repeated(const std::string& text, std::size_t count)
{
    std::string result;
    for (std::size_t i = 0; i < count; ++i)
        result += text;
    return result;
}

TEST(Limits, AnExpressionHas4096Bytes)
{
    const std::string longest = "a = " + std::string(4092, 'b');
    EXPECT_EQ(conditionError(longest), "");
    EXPECT_EQ(conditionError(longest + " "), "Invalid ConditionExpression: Expression size has exceeded the maximum "
                                             "allowed size; expression size: 4097");
    EXPECT_EQ(projectionError(std::string(4097, 'a')), "Invalid ProjectionExpression: Expression size has exceeded the "
                                                       "maximum allowed size; expression size: 4097");
}

TEST(Limits, AnExpressionHas300Operators)
{
    EXPECT_EQ(conditionError(repeated("a=b OR ", 149) + "NOT a=b"), "");
    EXPECT_EQ(conditionError(repeated("a=b OR ", 150) + "a=b"),
              "Invalid ConditionExpression: The expression contains too many operators; operator count: 301");
    EXPECT_EQ(conditionError(repeated("NOT ", 300) + "a=b"),
              "Invalid ConditionExpression: The expression contains too many operators; operator count: 301");
    EXPECT_EQ(conditionError(repeated("NOT ", 299) + "a=b"), "");
}

/** A search that compares the part at each position would take hours here. */
TEST(Limits, ASearchTakesNoLongerForTextsThatNearlyMatch)
{
    const std::string part(1'000'000, 'a');
    const std::string text = repeated(part, 4);
    const std::string item = R"({"s": {"S": ")" + text + R"("}, "b": {"B": ")" + text + R"("}})";
    const std::string ofBoth = repeated("contains(s, :s) OR contains(b, :b) OR ", 20) + "s = b";
    EXPECT_FALSE(holds(ofBoth, item, R"({":s": {"S": ")" + part + R"(b"}, ":b": {"B": ")" + part + R"(bbbb"}})"));
    EXPECT_TRUE(holds("contains(s, :s) AND contains(b, :b)", item,
                      R"({":s": {"S": ")" + part + R"("}, ":b": {"B": ")" + part + R"("}})"));
}

TEST(Limits, InHas100Operands)
{
    EXPECT_EQ(conditionError("a IN (" + repeated("b,", 99) + "c)"), "");
    EXPECT_EQ(
        conditionError("a IN (" + repeated("b,", 100) + "c)"),
        "Invalid ConditionExpression: The IN operator is provided with too many operands; number of operands: 101");
}

TEST(Limits, APathHas32Levels)
{
    EXPECT_EQ(projectionError("a" + repeated("[0]", 31)), "");
    EXPECT_EQ(projectionError("a" + repeated(".b", 32)),
              "Invalid ProjectionExpression: The document path has too many nesting elements; nesting levels: 33");
}

TEST(Limits, APlaceholderHas255Bytes)
{
    const std::string longest = "#" + std::string(254, 'a');
    const auto namesOf = [](const std::string& placeholder) { return R"({")" + placeholder + R"(": "x"})"; };
    EXPECT_EQ(projectionError(longest, namesOf(longest)), "");
    EXPECT_EQ(
        projectionError(longest + "a", namesOf(longest + "a")),
        "ExpressionAttributeNames contains invalid key: The length of the key has exceeded the maximum allowed size "
        "of 255 bytes; key: \"" +
            longest + "a\"");
}

TEST(Limits, NamesAndValuesHave2MBTogether)
{
    const auto valuesOf = [](std::size_t size) { return R"({":v": {"S": ")" + std::string(size, 'a') + R"("}})"; };
    const std::string names = R"({"#n": "a"})";
    EXPECT_EQ(conditionError("#n = :v", valuesOf(2097151), names), "");
    EXPECT_EQ(
        conditionError("#n = :v", valuesOf(2097152), names),
        "ExpressionAttributeNames and ExpressionAttributeValues have exceeded the maximum allowed size of 2097152 "
        "bytes");
}

TEST(Limits, NewValuesHaveTheSizeOfAnItem)
{
    const std::string half = R"({"S": ")" + std::string(200 * 1024, 'a') + R"("})";
    const std::string tooLarge = "Item size to update has exceeded the maximum allowed size";
    const std::string string = R"({":v": )" + half + "}";
    EXPECT_EQ(updated("SET a = :v, b = :v REMOVE a1", "{}", string).size(), 2 * 200 * 1024 + 27);
    EXPECT_EQ(updated("SET a = :v, b = :v, c = :v", "{}", string), tooLarge);
    EXPECT_EQ(updated("SET a = list_append(list_append(:v, :v), :v)", "{}", R"({":v": {"L": [)" + half + "]}}"),
              tooLarge);
    EXPECT_EQ(
        updated("ADD a :v", R"({"a": {"SS": ["b"]}})", R"({":v": {"SS": [")" + std::string(400 * 1024, 'a') + "\"]}}"),
        tooLarge);
}

TEST(Limits, NestingIsBounded)
{
    const std::string tooMany = "The expression contains too many operators; operator count: 302";
    EXPECT_EQ(conditionError(repeated("(", 4000)), "Invalid ConditionExpression: " + tooMany);
    EXPECT_EQ(conditionError(repeated("a(", 2000)), "Invalid ConditionExpression: " + tooMany);
    EXPECT_EQ(conditionError(repeated("NOT(", 1000)), "Invalid ConditionExpression: " + tooMany);
    EXPECT_EQ(updateError("SET a = " + repeated("(", 4000)), "Invalid UpdateExpression: " + tooMany);
    EXPECT_EQ(updateError("SET a = " + repeated("b(", 2000)), "Invalid UpdateExpression: " + tooMany);
    EXPECT_EQ(conditionError(repeated("NOT (", 150) + "a=b" + repeated(")", 150)), "");
}

} // namespace

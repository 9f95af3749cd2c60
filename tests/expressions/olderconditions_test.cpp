#include "expressions/texts.h"

#include <gtest/gtest.h>

#include <string>

using Expressions::RequestKind;

namespace {

const std::string Invalid = "One or more parameter values were invalid: ";

std::string expected(const std::string& condition)
{
    return R"({"Expected": {"a": {)" + condition + "}}}";
}

std::string comparison(const std::string& comparator, const std::string& values)
{
    return R"("ComparisonOperator": ")" + comparator + R"(", "AttributeValueList": [)" + values + "]";
}

std::string errorOf(const std::string& condition)
{
    return Texts::errorOf(RequestKind::Put, expected(condition));
}

bool holds(const std::string& condition, const std::string& value)
{
    const auto parameters = Texts::parametersOf(RequestKind::Put, expected(condition));
    const Items::Item item = value.empty() ? Items::Item() : Texts::item("{\"a\": " + value + "}");
    return Expressions::holds(*parameters.condition, &item);
}

TEST(Expected, ComparesAsExpressionsDo)
{
    const struct {
        std::string condition;
        const char* value; // empty: the item has no such attribute
        bool isMet;
    } cases[] = {
        {R"("Value": {"N": "1"})", R"({"N": "1.0"})", true},
        {R"("Value": {"N": "1"})", "", false},
        {R"("Value": {"N": "1"}, "Exists": true)", R"({"S": "1"})", false},
        {R"("Exists": false)", "", true},
        {R"("Exists": false)", R"({"N": "1"})", false},
        {R"("Value": {"N": "1"}, "ComparisonOperator": "GT")", R"({"N": "2"})", true},
        {comparison("EQ", R"({"SS": ["b", "a"]})"), R"({"SS": ["a", "b"]})", true},
        {comparison("NE", R"({"M": {}})"), R"({"M": {}})", false},
        {comparison("NE", R"({"S": "a"})"), "", true},
        {comparison("LE", R"({"N": "2"})"), R"({"N": "2"})", true},
        {comparison("LT", R"({"N": "2"})"), R"({"N": "2"})", false},
        {comparison("GE", R"({"B": "AA=="})"), R"({"B": "AQ=="})", true},
        {comparison("GT", R"({"S": "a"})"), R"({"N": "9"})", false},
        {R"("ComparisonOperator": "NOT_NULL")", R"({"NULL": true})", true},
        {R"("ComparisonOperator": "NULL")", R"({"NULL": true})", false},
        {comparison("NULL", ""), "", true},
        {comparison("CONTAINS", R"({"N": "2"})"), R"({"NS": ["1", "2.0"]})", true},
        {comparison("CONTAINS", R"({"S": "b"})"), R"({"S": "abc"})", true},
        {comparison("NOT_CONTAINS", R"({"S": "b"})"), R"({"L": [{"S": "b"}]})", false},
        {comparison("NOT_CONTAINS", R"({"S": "b"})"), R"({"SS": ["a"]})", true},
        {comparison("BEGINS_WITH", R"({"S": "ab"})"), R"({"S": "abc"})", true},
        {comparison("IN", R"({"N": "1"}, {"N": "2"})"), R"({"N": "2"})", true},
        {comparison("IN", R"({"S": "1"})"), R"({"N": "1"})", false},
        {comparison("BETWEEN", R"({"N": "1"}, {"N": "2"})"), R"({"N": "1.5"})", true},
        {comparison("BETWEEN", R"({"N": "1"}, {"N": "2"})"), R"({"S": "1.5"})", false},
    };
    for (const auto& c : cases)
        EXPECT_EQ(holds(c.condition, c.value), c.isMet) << c.condition << " " << c.value;
}

TEST(Expected, RefusesWhatDoesNotGoTogether)
{
    EXPECT_EQ(errorOf(""), Invalid + "Value must be provided when Exists is null for Attribute: a");
    EXPECT_EQ(errorOf(R"("Exists": true)"), Invalid + "Value must be provided when Exists is true for Attribute: a");
    EXPECT_EQ(errorOf(R"("Exists": false, "Value": {"S": "a"})"),
              Invalid + "Value cannot be used when Exists is false for Attribute: a");
    EXPECT_EQ(errorOf(R"("AttributeValueList": [])"),
              Invalid + "AttributeValueList can only be used with a ComparisonOperator for Attribute: a");
    EXPECT_EQ(errorOf(R"("Exists": false, "ComparisonOperator": "NULL")"),
              Invalid + "Exists and ComparisonOperator cannot be used together for Attribute: a");
    EXPECT_EQ(errorOf(R"("Value": {"S": "a"}, )" + comparison("EQ", R"({"S": "a"})")),
              Invalid + "Value and AttributeValueList cannot be used together for Attribute: a");
    EXPECT_EQ(errorOf(R"("ComparisonOperator": "EQ")"),
              Invalid + "Value or AttributeValueList must be used with ComparisonOperator: EQ for Attribute: a");
    EXPECT_EQ(errorOf(R"("Value": {"N": "x"})"), "The parameter cannot be converted to a numeric value: x");
}

TEST(Expected, ChecksTheValuesOfOperators)
{
    const auto wrongCount = [](const std::string& name) {
        return Invalid + "Invalid number of argument(s) for the " + name + " ComparisonOperator";
    };
    for (const char* name : {"EQ", "NE", "LE", "LT", "GE", "GT", "CONTAINS", "NOT_CONTAINS", "BEGINS_WITH"}) {
        EXPECT_EQ(errorOf(comparison(name, "")), wrongCount(name));
        EXPECT_EQ(errorOf(comparison(name, R"({"S": "a"}, {"S": "a"})")), wrongCount(name));
    }
    for (const char* name : {"NULL", "NOT_NULL"})
        EXPECT_EQ(errorOf(comparison(name, R"({"S": "a"})")), wrongCount(name));
    EXPECT_EQ(errorOf(comparison("IN", "")), wrongCount("IN"));
    EXPECT_EQ(errorOf(comparison("BETWEEN", R"({"S": "a"})")), wrongCount("BETWEEN"));
    for (const char* name : {"LE", "LT", "GE", "GT", "CONTAINS", "NOT_CONTAINS", "BEGINS_WITH", "IN"})
        EXPECT_EQ(errorOf(comparison(name, R"({"SS": ["a"]})")),
                  Invalid + "ComparisonOperator " + name + " is not valid for SS AttributeValue type");
    EXPECT_EQ(errorOf(comparison("BEGINS_WITH", R"({"N": "1"})")),
              Invalid + "ComparisonOperator BEGINS_WITH is not valid for N AttributeValue type");
    EXPECT_EQ(errorOf(comparison("BETWEEN", R"({"S": "a"}, {"N": "1"})")),
              Invalid + "AttributeValues inside AttributeValueList must all be of the same type");
    EXPECT_EQ(errorOf(comparison("BETWEEN", R"({"N": "2"}, {"N": "1"})")),
              "The BETWEEN condition was provided a range where the lower bound is greater than the upper bound");
}

TEST(ConditionalOperator, JoinsConditions)
{
    const auto holdsFor = [](const char* conditionalOperator, const char* item) {
        const auto parameters = Texts::parametersOf(
            RequestKind::Scan,
            R"({"ScanFilter": {"a": {"ComparisonOperator": "NULL"}, "b": {"ComparisonOperator": "NULL"}})" +
                std::string(conditionalOperator) + "}");
        const Items::Item subject = Texts::item(item);
        return Expressions::holds(*parameters.filter, &subject);
    };
    EXPECT_TRUE(holdsFor("", "{}"));
    EXPECT_FALSE(holdsFor("", R"({"a": {"S": "a"}})"));
    EXPECT_FALSE(holdsFor(R"(, "ConditionalOperator": "AND")", R"({"a": {"S": "a"}})"));
    EXPECT_TRUE(holdsFor(R"(, "ConditionalOperator": "OR")", R"({"a": {"S": "a"}})"));
    EXPECT_FALSE(holdsFor(R"(, "ConditionalOperator": "OR")", R"({"a": {"S": "a"}, "b": {"S": "b"}})"));
}

TEST(ConditionalOperator, NeedsTwoConditions)
{
    EXPECT_EQ(Texts::errorOf(RequestKind::Put, R"({"ConditionalOperator": "OR"})"),
              Invalid + "ConditionalOperator cannot be used without Filter or Expected");
    EXPECT_EQ(Texts::errorOf(RequestKind::Scan,
                             R"({"ConditionalOperator": "AND", "ScanFilter": {"a": {"ComparisonOperator": "NULL"}}})"),
              Invalid + "ConditionalOperator can only be used when Filter or Expected has two or more elements");
}

} // namespace

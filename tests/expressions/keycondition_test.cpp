#include "expressions/texts.h"

#include <gtest/gtest.h>

#include <string>

using Expressions::KeyCondition;
using Expressions::RequestKind;
using Type = Items::AttributeValue::Type;
using Kind = Expressions::Condition::Kind;

namespace {

const Expressions::KeySchema Schema = {{"h", Type::String}, {{"r", Type::Number}}};
const Expressions::KeySchema StringRange = {{"h", Type::String}, {{"r", Type::String}}};
const Expressions::KeySchema HashOnly = {{"h", Type::String}, std::nullopt};

std::string requestWith(const std::string& expression)
{
    std::string values;
    for (const char* value :
         {R"(":h": {"S": "h"})", R"(":s": {"S": "s"})", R"(":n": {"N": "1"})", R"(":m": {"N": "2"})"}) {
        if (expression.find(std::string(value).substr(1, 2)) != std::string::npos)
            values += (values.empty() ? "" : ", ") + std::string(value);
    }
    return R"({"KeyConditionExpression": ")" + expression +
           (values.empty() ? "\"}" : R"(", "ExpressionAttributeValues": {)" + values + "}}");
}

std::string errorOf(const std::string& expression)
{
    return Texts::errorOf(RequestKind::Query, requestWith(expression));
}

std::string bindKeys(const std::string& request, const Expressions::KeySchema& schema, KeyCondition* condition)
{
    std::string error;
    auto tests = Texts::parametersOf(RequestKind::Query, request).keyTests;
    return bindKeyTests(std::move(tests), schema, condition, &error) ? "" : error;
}

std::string bindError(const std::string& expression, const Expressions::KeySchema& schema)
{
    KeyCondition condition;
    return bindKeys(requestWith(expression), schema, &condition);
}

TEST(KeyCondition, GivesTheHashAndTheTestOfTheRange)
{
    const auto value = [](const char* json) { return Texts::item("{\"x\": " + std::string(json) + "}").at("x"); };
    KeyCondition condition;
    EXPECT_EQ(bindKeys(requestWith("h = :h"), Schema, &condition), "");
    EXPECT_EQ(condition.hash, value(R"({"S": "h"})"));
    EXPECT_FALSE(condition.range.has_value());

    EXPECT_EQ(bindKeys(requestWith("(r BETWEEN :n AND :m) AND (h = :h)"), Schema, &condition), "");
    EXPECT_EQ(condition.hash, value(R"({"S": "h"})"));
    ASSERT_TRUE(condition.range.has_value());
    EXPECT_EQ(condition.range->attribute, "r");
    EXPECT_EQ(condition.range->kind, Kind::Between);
    ASSERT_EQ(condition.range->values.size(), 2u);
    EXPECT_EQ(condition.range->values[1], value(R"({"N": "2"})"));
}

TEST(KeyCondition, TakesEveryComparison)
{
    const struct {
        const char* expression;
        Kind kind;
    } cases[] = {{"r = :n", Kind::Equal},           {"r < :n", Kind::Less},
                 {"r <= :n", Kind::LessOrEqual},    {"r > :n", Kind::Greater},
                 {"r >= :n", Kind::GreaterOrEqual}, {":n < r", Kind::Greater},
                 {":n >= r", Kind::LessOrEqual},    {":n = r", Kind::Equal}};
    for (const auto& c : cases) {
        KeyCondition condition;
        EXPECT_EQ(bindKeys(requestWith(std::string("h = :h AND ") + c.expression), Schema, &condition), "");
        EXPECT_EQ(condition.range->kind, c.kind) << c.expression;
    }
    KeyCondition condition;
    EXPECT_EQ(bindKeys(requestWith("h = :h AND begins_with(r, :s)"), StringRange, &condition), "");
    EXPECT_EQ(condition.range->kind, Kind::BeginsWith);
}

TEST(KeyCondition, IsOneOrTwoTestsOfAttributes)
{
    const std::string invalidOperator = "Invalid operator used in KeyConditionExpression: ";
    const std::string invalidCondition = "Invalid condition in KeyConditionExpression: ";
    EXPECT_EQ(errorOf("h = :h OR r = :n"), invalidOperator + "OR");
    EXPECT_EQ(errorOf("NOT h = :h"), invalidOperator + "NOT");
    EXPECT_EQ(errorOf("h = :h AND r <> :n"), invalidOperator + "<>");
    EXPECT_EQ(errorOf("h IN (:h)"), invalidOperator + "IN");
    EXPECT_EQ(errorOf("h = :h AND contains(r, :n)"), invalidOperator + "contains");
    EXPECT_EQ(errorOf("attribute_exists(h)"), invalidOperator + "attribute_exists");
    EXPECT_EQ(errorOf("size(h) = :n"), "KeyConditionExpressions cannot contain nested operations");
    EXPECT_EQ(errorOf("h.a = :n"), "KeyConditionExpressions cannot have conditions on nested attributes");
    EXPECT_EQ(errorOf("h = :h AND h = :h"), "KeyConditionExpressions must only contain one condition per key");
    EXPECT_EQ(errorOf("h = :h AND r > :n AND r < :n"),
              "KeyConditionExpressions must only contain one condition per key");
    EXPECT_EQ(errorOf("h = :h AND r = :n AND x = :n"), "Conditions can be of length 1 or 2 only");
    EXPECT_EQ(errorOf("h = r"), invalidCondition + "Multiple attribute names used in one condition");
    EXPECT_EQ(errorOf(":h = :s"), invalidCondition + "No key attribute specified");
    EXPECT_EQ(errorOf("begins_with(:s, r)"),
              invalidCondition + "begins_with operator must have the key attribute as its first operand");
    EXPECT_EQ(errorOf(":n BETWEEN r AND :n"),
              invalidCondition + "BETWEEN operator must have the key attribute as its first operand");
    EXPECT_EQ(errorOf("h = :h AND"), R"(Invalid KeyConditionExpression: Syntax error; token: "<EOF>", near: "AND")");
    EXPECT_EQ(Texts::errorOf(RequestKind::Query, "{}"),
              "Either the KeyConditions or KeyConditionExpression parameter must be specified in the request.");
}

TEST(KeyCondition, FitsTheKeysOfTheTable)
{
    const std::string wrongType =
        "One or more parameter values were invalid: Condition parameter type does not match schema type";
    EXPECT_EQ(bindError("r = :n", Schema), "Query condition missed key schema element: h");
    EXPECT_EQ(bindError("h = :h AND x = :n", Schema), "Query condition missed key schema element: r");
    EXPECT_EQ(bindError("h = :h AND x = :n", HashOnly), "Query key condition not supported");
    EXPECT_EQ(bindError("h > :h", Schema), "Query key condition not supported");
    EXPECT_EQ(bindError("h = :n", Schema), wrongType);
    EXPECT_EQ(bindError("h = :h AND r = :s", Schema), wrongType);
    EXPECT_EQ(bindError("h = :h AND begins_with(r, :s)", Schema), wrongType);
}

TEST(KeyCondition, AFilterUsesNoKeys)
{
    const auto filterError = [](const std::string& expression) {
        const auto parameters =
            Texts::parametersOf(RequestKind::Scan, R"({"FilterExpression": ")" + expression + R"("})");
        return Expressions::filterError(*parameters.filter, Schema, "FilterExpression");
    };
    EXPECT_EQ(filterError("a = b OR NOT attribute_exists(x.h)"), "");
    EXPECT_EQ(filterError("a = b OR NOT size(h) = b"),
              "Filter Expression can only contain non-primary key attributes: Primary key attribute: h");
    EXPECT_EQ(filterError("a IN (b, r)"),
              "Filter Expression can only contain non-primary key attributes: Primary key attribute: r");
    const auto older = Texts::parametersOf(
        RequestKind::Query,
        R"({"KeyConditions": {"h": {"ComparisonOperator": "EQ", "AttributeValueList": [{"S": "h"}]}},
            "QueryFilter": {"r": {"ComparisonOperator": "NULL"}}})");
    EXPECT_EQ(Expressions::filterError(*older.filter, Schema, "QueryFilter"),
              "QueryFilter can only contain non-primary key attributes: Primary key attribute: r");
}

TEST(KeyConditions, AreTheSame)
{
    const auto request = [](const char* comparison) {
        return R"({"KeyConditions": {"r": {)" + std::string(comparison) +
               R"(}, "h": {"ComparisonOperator": "EQ", "AttributeValueList": [{"S": "h"}]}}})";
    };
    KeyCondition condition;
    const std::string between =
        request(R"("ComparisonOperator": "BETWEEN", "AttributeValueList": [{"N": "1"}, {"N": "2"}])");
    EXPECT_EQ(bindKeys(between, Schema, &condition), "");
    EXPECT_EQ(condition.range->kind, Kind::Between);
    EXPECT_EQ(condition.range->values.size(), 2u);
    for (const char* comparison :
         {R"("ComparisonOperator": "NE", "AttributeValueList": [{"N": "1"}])", R"("ComparisonOperator": "NULL")",
          R"("ComparisonOperator": "CONTAINS", "AttributeValueList": [{"N": "1"}])",
          R"("ComparisonOperator": "IN", "AttributeValueList": [{"N": "1"}])"})
        EXPECT_EQ(Texts::errorOf(RequestKind::Query, request(comparison)),
                  "Attempted conditional constraint is not an indexable operation");
}

} // namespace

#include "expressions/texts.h"

#include <gtest/gtest.h>

#include <string>

using Expressions::RequestKind;
using Texts::errorOf;

namespace {

TEST(Parameters, OldAndNewAreNotMixed)
{
    const std::string mixed = "Can not use both expression and non-expression parameters in the same request: "
                              "Non-expression parameters: ";
    EXPECT_EQ(errorOf(RequestKind::Update, R"({"AttributeUpdates": {}, "ConditionExpression": ""})"),
              mixed + "{AttributeUpdates} Expression parameters: {ConditionExpression}");
    EXPECT_EQ(errorOf(RequestKind::Update, R"({"ConditionalOperator": "OR", "Expected": {}, "AttributeUpdates": {},
                  "ConditionExpression": "", "UpdateExpression": ""})"),
              mixed + "{AttributeUpdates, Expected, ConditionalOperator} Expression parameters: {UpdateExpression, "
                      "ConditionExpression}");
    EXPECT_EQ(errorOf(RequestKind::Get, R"({"AttributesToGet": ["a"], "ProjectionExpression": "a"})"),
              mixed + "{AttributesToGet} Expression parameters: {ProjectionExpression}");
    EXPECT_EQ(errorOf(RequestKind::Query, R"({"KeyConditions": {}, "QueryFilter": {}, "FilterExpression": ""})"),
              mixed + "{QueryFilter, KeyConditions} Expression parameters: {FilterExpression}");
    EXPECT_EQ(errorOf(RequestKind::Scan, R"({"ScanFilter": {}, "ProjectionExpression": ""})"),
              mixed + "{ScanFilter} Expression parameters: {ProjectionExpression}");
    EXPECT_EQ(errorOf(RequestKind::Delete, R"({"Expected": null, "ConditionExpression": "a = b"})"), "");
}

TEST(Parameters, NamesAndValuesNeedAnExpression)
{
    const std::string names = R"({"ExpressionAttributeNames": {"#a": "a"}})";
    const std::string values = R"({"ExpressionAttributeValues": {":a": {"S": "a"}}})";
    const std::string noValues = "ExpressionAttributeValues can only be specified when using expressions: ";
    for (const auto kind : {RequestKind::Get, RequestKind::Put, RequestKind::Delete, RequestKind::Update,
                            RequestKind::Query, RequestKind::Scan})
        EXPECT_EQ(errorOf(kind, names), "ExpressionAttributeNames can only be specified when using expressions");
    EXPECT_EQ(errorOf(RequestKind::Put, values), noValues + "ConditionExpression is null");
    EXPECT_EQ(errorOf(RequestKind::Update, values), noValues + "UpdateExpression and ConditionExpression are null");
    EXPECT_EQ(errorOf(RequestKind::Query, values), noValues + "FilterExpression and KeyConditionExpression are null");
    EXPECT_EQ(errorOf(RequestKind::Scan, R"({"ProjectionExpression": "a", "ExpressionAttributeValues": {}})"),
              noValues + "FilterExpression is null");
}

TEST(Parameters, ChecksNamesAndValuesFirst)
{
    const auto nameError = [](const char* names) {
        return errorOf(RequestKind::Get,
                       R"({"ProjectionExpression": "a,", "ExpressionAttributeNames": )" + std::string(names) + "}");
    };
    EXPECT_EQ(nameError("{}"), "ExpressionAttributeNames must not be empty");
    for (const char* placeholder : {"a", "#", "", "##", "#a-b", "#a b", ":a"})
        EXPECT_EQ(nameError((R"({")" + std::string(placeholder) + R"(": "a"})").c_str()),
                  R"(ExpressionAttributeNames contains invalid key: Syntax error; key: ")" + std::string(placeholder) +
                      "\"");
    const auto valueError = [](const char* values) { return Texts::conditionError("a = ", values); };
    EXPECT_EQ(errorOf(RequestKind::Put, R"({"ConditionExpression": "a", "ExpressionAttributeValues": {}})"),
              "ExpressionAttributeValues must not be empty");
    EXPECT_EQ(valueError(R"({"v": {"S": "a"}})"),
              R"(ExpressionAttributeValues contains invalid key: Syntax error; key: "v")");
    EXPECT_EQ(
        valueError(R"({":v": {}})"),
        "ExpressionAttributeValues contains invalid value: Supplied AttributeValue is empty, must contain exactly "
        "one of the supported datatypes for key :v");
    EXPECT_EQ(valueError(R"({":v": {"N": "ab"}})"),
              "ExpressionAttributeValues contains invalid value: The parameter cannot be converted to a numeric value: "
              "ab for key :v");
}

TEST(Parameters, AreReadInTheOrderOfTheApi)
{
    EXPECT_EQ(errorOf(RequestKind::Update, R"({"UpdateExpression": "", "ConditionExpression": ""})"),
              "Invalid UpdateExpression: The expression can not be empty;");
    EXPECT_EQ(errorOf(RequestKind::Query, R"({"KeyConditionExpression": "", "FilterExpression": "",
                  "ProjectionExpression": ""})"),
              "Invalid ProjectionExpression: The expression can not be empty;");
    EXPECT_EQ(errorOf(RequestKind::Query, R"({"KeyConditionExpression": "", "FilterExpression": ""})"),
              "Invalid FilterExpression: The expression can not be empty;");
}

TEST(Parameters, OnePlaceholderCanServeSeveralExpressions)
{
    const auto parameters = Texts::parametersOf(
        RequestKind::Query, R"({"KeyConditionExpression": "#k = :v", "FilterExpression": "x = :v AND #y = :w",
            "ProjectionExpression": "#k, x", "ExpressionAttributeNames": {"#k": "k", "#y": "y"},
            "ExpressionAttributeValues": {":v": {"S": "v"}, ":w": {"S": "w"}}})");
    EXPECT_EQ(parameters.keyTests.size(), 1u);
    EXPECT_TRUE(parameters.filter.has_value());
    EXPECT_TRUE(parameters.projection.has_value());
    EXPECT_FALSE(parameters.isOlder);
}

TEST(Parameters, NoneIsFine)
{
    for (const auto kind :
         {RequestKind::Get, RequestKind::Put, RequestKind::Delete, RequestKind::Update, RequestKind::Scan}) {
        const auto parameters = Texts::parametersOf(kind, R"({"Expected": {}, "ScanFilter": {}, "Key": 1})");
        EXPECT_FALSE(parameters.condition || parameters.filter || parameters.update || parameters.projection);
        EXPECT_TRUE(parameters.isOlder);
    }
}

TEST(Parameters, OtherJsonTypesAreErrorsOfSerialization)
{
    for (const char* member : {"ConditionExpression", "Expected"}) {
        Items::JsonDocument request;
        request.Parse((R"({")" + std::string(member) + R"(": 1})").c_str());
        Expressions::Parameters parameters;
        Items::JsonError error;
        EXPECT_FALSE(readParameters(RequestKind::Put, request, &parameters, &error)) << member;
        EXPECT_EQ(error.kind, Items::JsonError::Kind::Serialization);
    }
}

} // namespace

#include "api/shapes.h"
#include "api/validation.h"

#include <gtest/gtest.h>

#include <string>

namespace {

/** The message for the first value that is not of its type; empty if all are. */
std::string complaint(const Api::Shape& shape, const char* json)
{
    Items::JsonDocument request;
    request.Parse(json);
    const Api::Failure failure = Api::Validation::checkTypes(request, shape);
    if (!failure)
        return {};
    EXPECT_EQ(failure->status, 400);
    EXPECT_EQ(failure->type, "com.amazon.coral.service#SerializationException");
    return failure->message;
}

struct Case {
    const char* request;
    const char* message;
};

void expectComplaints(const Api::Shape& shape, std::initializer_list<Case> cases)
{
    for (const Case& each : cases)
        EXPECT_EQ(complaint(shape, each.request), each.message) << each.request;
}

} // namespace

TEST(RequestTypes, Texts)
{
    expectComplaints(Api::Inputs::DescribeTable,
                     {{R"({"TableName":"orders"})", ""},
                      {R"({"TableName":null})", ""},
                      {R"({"TableName":true})", "TRUE_VALUE cannot be converted to String"},
                      {R"({"TableName":false})", "FALSE_VALUE cannot be converted to String"},
                      {R"({"TableName":7})", "NUMBER_VALUE cannot be converted to String"},
                      {R"({"TableName":7.5})", "DECIMAL_VALUE cannot be converted to String"},
                      {R"({"TableName":[]})", "Unrecognized collection type class java.lang.String"},
                      {R"({"TableName":{}})", "Start of structure or map found where not expected"}});
}

TEST(RequestTypes, NumbersAndBooleans)
{
    expectComplaints(Api::Inputs::ListTables, {{R"({"Limit":"7"})", "STRING_VALUE cannot be converted to Integer"},
                                               {R"({"Limit":true})", "TRUE_VALUE cannot be converted to Integer"},
                                               {R"({"Limit":7.5})", ""}});
    expectComplaints(Api::Inputs::GetItem,
                     {{R"({"ConsistentRead":"true"})", "Unexpected token received from parser"},
                      {R"({"ConsistentRead":1})", "NUMBER_VALUE cannot be converted to Boolean"},
                      {R"({"ConsistentRead":[]})", "Unrecognized collection type class java.lang.Boolean"}});
    expectComplaints(Api::Inputs::CreateTable, {{R"({"ProvisionedThroughput":{"ReadCapacityUnits":"5"}})",
                                                 "STRING_VALUE cannot be converted to Long"}});
}

TEST(RequestTypes, StructuresListsAndMaps)
{
    expectComplaints(Api::Inputs::CreateTable,
                     {{"7", "Unexpected field type"},
                      {"[]", "Unrecognized collection type class com.amazonaws.dynamodb.v20120810.CreateTableInput"},
                      {R"({"KeySchema":"id"})", "Unexpected field type"},
                      {R"({"KeySchema":{}})", "Start of structure or map found where not expected"},
                      {R"({"KeySchema":[[]]})",
                       "Unrecognized collection type class com.amazonaws.dynamodb.v20120810.KeySchemaElement"},
                      {R"({"KeySchema":[null,{"KeyType":7}]})", "NUMBER_VALUE cannot be converted to String"}});
    expectComplaints(Api::Inputs::BatchWriteItem,
                     {{R"({"RequestItems":[]})", "Unrecognized collection type java.util.Map<java.lang.String, "
                                                 "java.util.List<com.amazonaws.dynamodb.v20120810.WriteRequest>>"}});
    expectComplaints(Api::Inputs::PutItem,
                     {{R"({"Item":[]})", "Unrecognized collection type java.util.Map<java.lang.String, "
                                         "com.amazonaws.dynamodb.v20120810.AttributeValue>"},
                      {R"({"ExpressionAttributeNames":[]})",
                       "Unrecognized collection type java.util.Map<java.lang.String, java.lang.String>"}});
}

TEST(RequestTypes, ValuesOfItems)
{
    expectComplaints(Api::Inputs::PutItem,
                     {{R"({"Item":{"a":{"M":{"b":{"L":[{"N":"1"},{"BOOL":true},{"NULL":true},{"SS":["x"]}]}}}}})", ""},
                      {R"({"Item":{"a":{"M":{"b":{"L":[{"N":1}]}}}}})", "NUMBER_VALUE cannot be converted to String"},
                      {R"({"Item":{"a":{"B":true}}})", "only base-64-encoded strings are convertible to bytes"},
                      {R"({"Item":{"a":"text"}})", "Unexpected field type"},
                      {R"({"Item":{"a":{"Other":7}},"Unknown":[]})", ""}});
}

TEST(RequestTypes, DepthDoesNotExhaustTheStack)
{
    constexpr int Levels = 200000;
    std::string text;
    for (int i = 0; i < Levels; ++i)
        text += R"({"L":[)";
    for (int i = 0; i < Levels; ++i)
        text += "]}";
    Items::JsonDocument request;
    request.Parse<rapidjson::kParseIterativeFlag>((R"({"Item":{"a":)" + text + "}}").c_str());
    ASSERT_FALSE(request.HasParseError());
    EXPECT_FALSE(Api::Validation::checkTypes(request, Api::Inputs::PutItem));
    EXPECT_TRUE(Api::Validation::checkLimits(request, Api::Inputs::PutItem)); // there is no table's name
}

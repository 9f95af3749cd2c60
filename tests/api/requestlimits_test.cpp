#include "api/shapes.h"
#include "api/validation.h"

#include <gtest/gtest.h>

#include <initializer_list>
#include <string>

namespace {

/** The message for all limits that are not kept; empty if all are. */
std::string complaint(const Api::Shape& shape, const std::string& json)
{
    Items::JsonDocument request;
    request.Parse(json.c_str());
    EXPECT_FALSE(request.HasParseError()) << json;
    const Api::Failure failure = Api::Validation::checkLimits(request, shape);
    if (!failure)
        return {};
    EXPECT_EQ(failure->status, 400);
    EXPECT_EQ(failure->type, "com.amazon.coral.validate#ValidationException");
    return failure->message;
}

std::string one(const std::string& value, const std::string& path, const std::string& rule)
{
    return "Value " + value + " at '" + path + "' failed to satisfy constraint: " + rule;
}

std::string detected(std::initializer_list<std::string> errors)
{
    std::string text =
        std::to_string(errors.size()) + " validation error" + (errors.size() == 1 ? "" : "s") + " detected: ";
    bool isFirst = true;
    for (const std::string& error : errors) {
        text += (isFirst ? "" : "; ") + error;
        isFirst = false;
    }
    return text;
}

std::string named(const std::string& name)
{
    return R"({"TableName":")" + name + "\"}";
}

constexpr const char* Pattern = "Member must satisfy regular expression pattern: [a-zA-Z0-9_.-]+";
constexpr const char* NotNull = "Member must not be null";

} // namespace

TEST(RequestLimits, NamesOfTables)
{
    const Api::Shape& shape = Api::Inputs::DescribeTable;
    const std::string longName(256, 'x');
    EXPECT_EQ(complaint(shape, "{}"), detected({one("null", "tableName", NotNull)}));
    EXPECT_EQ(complaint(shape, R"({"TableName":null})"), detected({one("null", "tableName", NotNull)}));
    EXPECT_EQ(complaint(shape, named("or")),
              detected({one("'or'", "tableName", "Member must have length greater than or equal to 3")}));
    EXPECT_EQ(complaint(shape, named(longName)), detected({one('\'' + longName + '\'', "tableName",
                                                               "Member must have length less than or equal to 255")}));
    EXPECT_EQ(complaint(shape, named("o;")),
              detected({one("'o;'", "tableName", Pattern),
                        one("'o;'", "tableName", "Member must have length greater than or equal to 3")}));
    EXPECT_EQ(complaint(shape, named("")),
              detected({one("''", "tableName", Pattern),
                        one("''", "tableName", "Member must have length greater than or equal to 3")}));
    for (const std::string name : {"arn:orders", "arn:aws:dynamodb:local:000000000000:orders"})
        EXPECT_EQ(complaint(shape, named(name)), detected({one('\'' + name + '\'', "tableName", Pattern)}));
    EXPECT_EQ(complaint(shape, named("null;")), detected({one("'null;'", "tableName", Pattern)}));
    for (const std::string& name : {std::string("azAZ09_.-"), std::string("x/y|z"), std::string(255, 'x'),
                                    std::string("arn:aws:dynamodb:local:000000000000:table/orders")})
        EXPECT_EQ(complaint(shape, named(name)), "");
}

TEST(RequestLimits, MembersOfListsAreCounted)
{
    EXPECT_EQ(
        complaint(Api::Inputs::CreateTable,
                  R"({"TableName":"orders","KeySchema":[{"AttributeName":"","KeyType":"Hash"},{}],)"
                  R"("AttributeDefinitions":[{"AttributeName":"id","AttributeType":"SS"}],)"
                  R"("ProvisionedThroughput":{"ReadCapacityUnits":0,"WriteCapacityUnits":-1}})"),
        detected(
            {one("'SS'", "attributeDefinitions.1.member.attributeType",
                 "Member must satisfy enum value set: [B, N, S]"),
             one("''", "keySchema.1.member.attributeName", "Member must have length greater than or equal to 1"),
             one("'Hash'", "keySchema.1.member.keyType", "Member must satisfy enum value set: [HASH, RANGE]"),
             one("null", "keySchema.2.member.attributeName", NotNull),
             one("null", "keySchema.2.member.keyType", NotNull),
             one("'0'", "provisionedThroughput.readCapacityUnits", "Member must have value greater than or equal to 1"),
             one("'-1'", "provisionedThroughput.writeCapacityUnits",
                 "Member must have value greater than or equal to 1")}));
}

TEST(RequestLimits, SizesOfListsAndMaps)
{
    EXPECT_EQ(complaint(Api::Inputs::BatchGetItem, R"({"RequestItems":{}})"),
              detected({one("'{}'", "requestItems", "Member must have length greater than or equal to 1")}));
    EXPECT_EQ(
        complaint(Api::Inputs::BatchGetItem, R"({"RequestItems":{"orders":{"Keys":[]},"others":{}}})"),
        detected({one("'[]'", "requestItems.orders.member.keys", "Member must have length greater than or equal to 1"),
                  one("null", "requestItems.others.member.keys", NotNull)}));
    EXPECT_EQ(complaint(Api::Inputs::GetItem, R"({"TableName":"orders","Key":{},"AttributesToGet":[]})"),
              detected({one("'[]'", "attributesToGet", "Member must have length greater than or equal to 1")}));
}

TEST(RequestLimits, KeysAndValuesOfMapsAndElementsOfLists)
{
    EXPECT_EQ(complaint(Api::Inputs::BatchGetItem, R"({"RequestItems":{"o;":{"Keys":[{}]}}})"),
              detected({one("'{...}'", "requestItems",
                            "Map keys must satisfy constraint: [Member must have length less than or equal to 255, "
                            "Member must have length greater than or equal to 3, " +
                                std::string(Pattern) + ']')}));
    const std::string lengths = "Map value must satisfy constraint: [Member must have length less than or equal to 25, "
                                "Member must have length greater than or equal to 1]";
    EXPECT_EQ(complaint(Api::Inputs::BatchWriteItem, R"({"RequestItems":{"orders":[]}})"),
              detected({one("'{...}'", "requestItems", lengths)}));
    std::string writes = "{}";
    for (int i = 1; i < 26; ++i)
        writes += ",{}";
    EXPECT_EQ(complaint(Api::Inputs::BatchWriteItem,
                        R"({"RequestItems":{"orders":[)" + writes + R"(],"others":[{"PutRequest":{}}]}})"),
              detected({one("'{...}'", "requestItems", lengths),
                        one("null", "requestItems.others.member.1.member.putRequest.item", NotNull)}));
    EXPECT_EQ(complaint(Api::Inputs::UntagResource, R"({"ResourceArn":"a","TagKeys":["b",""]})"),
              detected({one("'[b, ]'", "tagKeys",
                            "Member must satisfy constraint: [Member must have length less than or equal to 128, "
                            "Member must have length greater than or equal to 1]")}));
}

TEST(RequestLimits, ElementsAreNeverNull)
{
    EXPECT_EQ(
        complaint(Api::Inputs::BatchGetItem, R"({"RequestItems":{"orders":null,"others":{"Keys":[null,{"a":null}]}}})"),
        detected({one("null", "requestItems.orders.member", NotNull),
                  one("null", "requestItems.others.member.keys.1.member", NotNull),
                  one("null", "requestItems.others.member.keys.2.member.a.member", NotNull)}));
    EXPECT_EQ(complaint(Api::Inputs::GetItem, R"({"TableName":"orders","Key":{},"AttributesToGet":["a",null]})"),
              detected({one("null", "attributesToGet.2.member", NotNull)}));
    EXPECT_EQ(complaint(Api::Inputs::PutItem, R"({"TableName":"orders","Item":{"id":{"S":"a"},"b":null}})"),
              detected({one("null", "item.b.member", NotNull)}));
}

TEST(RequestLimits, LengthsAreCountedInUtf16)
{
    const auto tagged = [](const std::string& value) {
        return R"({"ResourceArn":"a","Tags":[{"Key":"k","Value":")" + value + R"("}]})";
    };
    std::string value;
    for (int i = 0; i < 128; ++i)
        value += "\xF0\x9F\x98\x80"; // two code units
    EXPECT_EQ(complaint(Api::Inputs::TagResource, tagged(value)), "");
    EXPECT_EQ(complaint(Api::Inputs::TagResource, tagged(value + "\xC3\xA4")),
              detected({one('\'' + value + "\xC3\xA4'", "tags.1.member.value",
                            "Member must have length less than or equal to 256")}));
}

TEST(RequestLimits, NoMoreThanTenAreReported)
{
    std::string keys = "{}";
    for (int i = 1; i < 8; ++i)
        keys += ",{}";
    const std::string text = complaint(Api::Inputs::TagResource, R"({"ResourceArn":"a","Tags":[)" + keys + "]}");
    EXPECT_EQ(text.substr(0, text.find(':')), "10 validation errors detected");
}

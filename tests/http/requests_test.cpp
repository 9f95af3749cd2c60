#include "requestfixture.h"

#include <gmock/gmock.h>

namespace {

using testing::HasSubstr;
using testing::MatchesRegex;
using testing::Not;

} // namespace

TEST_F(HttpRequest, AnswersTheReplysFieldsUnderItsStatus)
{
    HttpClient client(http_.port());
    const HttpAnswer put = client.call("PutItem", putBody("a", "1", R"(,"n":{"N":"0017.50"},"t":{"S":"größer ✓"})"));
    EXPECT_EQ(put.status, 200);
    EXPECT_EQ(put.reason, "OK");
    EXPECT_EQ(put.body, R"({"Attributes":{"n":{"N":"0017.50"},"t":{"S":"größer ✓"}}})");
    const HttpAnswer got = client.call("GetItem", body("\"Key\":" + key("a", "1")));
    EXPECT_EQ(got.status, 200);
    EXPECT_EQ(got.body, R"({"Item":{"n":{"N":"0017.50"},"t":{"S":"größer ✓"}}})");
    const HttpAnswer absent = client.call("GetItem", body("\"Key\":" + key("a", "2")));
    EXPECT_EQ(absent.status, 200);
    EXPECT_EQ(absent.body, "{}");
}

TEST_F(HttpRequest, EveryAnswerHasItsHeaders)
{
    HttpClient client(http_.port());
    const HttpAnswer success = client.call("PutItem", putBody("a", "1"));
    const HttpAnswer error = client.call("PutItem", R"({"TableName":"/none|t"})");
    for (const HttpAnswer& answer : {success, error}) {
        EXPECT_EQ(answer.header("content-type"), "application/x-amz-json-1.0");
        EXPECT_EQ(answer.header("content-length"), std::to_string(answer.body.size()));
        EXPECT_EQ(answer.header("x-amz-crc32"), crc32Of(answer.body));
        EXPECT_THAT(answer.header("x-amzn-requestid"), MatchesRegex("[0-9a-f-]{36}"));
        EXPECT_EQ(answer.header("connection"), "");
    }
    EXPECT_EQ(success.reason, "OK");
    EXPECT_EQ(error.reason, "Not Found");
    EXPECT_NE(success.header("x-amzn-requestid"), error.header("x-amzn-requestid"));
}

TEST_F(HttpRequest, SignaturesAndOtherHeadersAreNotLookedAt)
{
    const std::string text = putBody("a", "1", R"(,"n":{"N":"1"})");
    HttpClient client(http_.port());
    const HttpAnswer answer = client.exchange(
        "POST /?ignored=1 HTTP/1.1\r\nHost: localhost\r\nAuthorization: AWS4-HMAC-SHA256 Credential=none\r\n"
        "X-Amz-Date: 20120101T000000Z\r\nx-amz-security-token: t\r\nRange: bytes=0-3\r\nAccept-Encoding: gzip, br\r\n"
        "Content-Type: multipart/form-data; boundary=b\r\nx-amz-target: DynamoDB_20111205.PutItem\r\nContent-Length: " +
        std::to_string(text.size()) + "\r\n\r\n" + text);
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.body, R"({"Attributes":{"n":{"N":"1"}}})");
    EXPECT_EQ(answer.header("content-encoding"), "");
    EXPECT_EQ(answer.header("content-range"), "");
}

TEST_F(HttpRequest, EveryOperationReachesTheServer)
{
    HttpClient client(http_.port());
    for (const char* operation : {"BatchWriteItem", "CreateTable", "DeleteItem", "DeleteTable", "DescribeTable",
                                  "GetItem", "PutItem", "Query", "Scan", "UpdateItem", "UpdateTable"}) {
        const HttpAnswer answer = client.call(operation, "{}");
        EXPECT_THAT(answer.status, testing::AnyOf(200, 400)) << operation;
        EXPECT_THAT(answer.body, testing::Not(testing::HasSubstr("UnknownOperationException"))) << operation;
    }
}

TEST_F(HttpRequest, KeysOfAScanCanBeSentBackAsTheyCame)
{
    HttpClient client(http_.port());
    for (const char* range : {"1", "2", "3", "4", "5"})
        ASSERT_EQ(client.call("PutItem", putBody("a", range)).status, 200);
    EXPECT_EQ(client.call("Scan", body("\"Limit\":2")).body,
              R"({"Count":2,"Items":[{"hash":{"S":"a"},"range":{"S":"1"}},{"hash":{"S":"a"},"range":{"S":"2"}}],)"
              R"("LastEvaluatedKey":{"HashKeyElement":{"S":"a"},"RangeKeyElement":{"S":"2"}},"ScannedCount":2})");
    EXPECT_EQ(readPages("Scan", "\"Limit\":2"), "1,2,3,4,5,");
}

TEST_F(HttpRequest, KeysOfAQueryCanBeSentBackAsTheyCame)
{
    HttpClient client(http_.port());
    for (const char* range : {"1", "2", "3\\\"ü", "4", "5"})
        ASSERT_EQ(client.call("PutItem", putBody("a", range)).status, 200);
    const std::string query = R"("HashKeyValue":{"S":"a"},"Limit":3)";
    EXPECT_THAT(client.call("Query", body(query)).body,
                HasSubstr(R"("LastEvaluatedKey":{"HashKeyElement":{"S":"a"},"RangeKeyElement":{"S":"3\"ü"}})"));
    EXPECT_EQ(readPages("Query", query), "1,2,3\"ü,4,5,");
    EXPECT_EQ(readPages("Query", query + ",\"ScanIndexForward\":false"), "5,4,3\"ü,2,1,");
}

TEST_F(HttpRequest, QueryForAPrefixKeepsItOnEveryPage)
{
    HttpClient client(http_.port());
    for (const char* range : {"a", "b", "b1", "b2", "b3", "c"})
        ASSERT_EQ(client.call("PutItem", putBody("k", range)).status, 200);
    const auto readWith = [&](const std::string& comparison, const std::string& prefix, const std::string& rest = "") {
        return readPages("Query", R"("HashKeyValue":{"S":"k"},"Limit":2,"RangeKeyCondition":{"ComparisonOperator":")" +
                                      comparison + R"(","AttributeValueList":[{"S":")" + prefix + "\"}]}" + rest);
    };
    EXPECT_EQ(readWith("BEGINS_WITH", "b"), "b,b1,b2,b3,");
    EXPECT_EQ(readWith("BEGINS\\u005fWITH", "b"), "b,b1,b2,b3,") << "an escape hides the word";
    EXPECT_EQ(readWith("BEGINS_WITH", ""), "a,b,b1,b2,b3,c,");
    EXPECT_EQ(readWith("BEGINS_WITH", "", ",\"ScanIndexForward\":false"), "a,b,b1,b2,b3,c,") << "it always goes up";

    const std::string behind = R"("Limit":2,"RangeKeyCondition":{"ComparisonOperator":"BEGINS_WITH",)"
                               R"("AttributeValueList":[{"S":"b"}]},"ExclusiveStartKey":)";
    EXPECT_EQ(client.call("Query", body(behind + key("k", "0"))).body,
              R"({"Count":2,"Items":[{"hash":{"S":"k"},"range":{"S":"b"}},{"hash":{"S":"k"},"range":{"S":"b1"}}],)"
              R"("LastEvaluatedKey":{"HashKeyElement":{"S":"k"},"RangeKeyElement":{"S":"b1"}}})")
        << "a start key in front of the prefix";
}

TEST_F(HttpRequest, KeysAmongTheAttributesOfAnUpdateAreTyped)
{
    HttpClient client(http_.port());
    const std::string update =
        "\"Key\":" + key("a", "1") + R"(,"AttributeUpdates":{"n":{"Action":"ADD","Value":{"N":"5"}}},"ReturnValues":)";
    EXPECT_EQ(client.call("UpdateItem", body(update + "\"ALL_NEW\"")).body,
              R"({"Attributes":{"hash":{"S":"a"},"n":{"N":"5"},"range":{"S":"1"}}})");
    EXPECT_EQ(client.call("UpdateItem", body(update + "\"ALL_OLD\"")).body,
              R"({"Attributes":{"hash":{"S":"a"},"n":{"N":"5"},"range":{"S":"1"}}})");
    EXPECT_EQ(client.call("UpdateItem", body(update + "\"UPDATED_NEW\"")).body, R"({"Attributes":{"n":{"N":"15"}}})");
}

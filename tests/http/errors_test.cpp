#include "errorfixture.h"

#include <random>
#include <string>

namespace {

constexpr const char* NoPath = "There is nothing at this path";
constexpr const char* NoMethod = "The only method is POST";
constexpr const char* NoHttp = "The request is not HTTP that this server supports";

} // namespace

TEST_F(HttpError, AFailedConditionIsTheApisOwn)
{
    HttpClient client(http_.port());
    ASSERT_EQ(client.call("PutItem", putBody("a", "1", R"(,"n":{"N":"1"})")).status, 200);
    const HttpAnswer put = client.call(
        "PutItem", body(R"("Item":{"hash":{"S":"a"},"range":{"S":"1"}},"Expected":{"n":{"Exists":false}})"));
    expectError(put, 400, "ConditionalCheckFailedException", "The conditional request failed.");
    EXPECT_EQ(put.reason, "Bad Request");
    // This one has a field of its operation as well.
    EXPECT_EQ(
        client.call("DeleteItem", body("\"Key\":" + key("a", "1") + R"(,"Expected":{"n":{"Exists":false}})")).body,
        R"({"Attributes":{},"__type":"com.amazonaws.dynamodb.v20111205#ConditionalCheckFailedException",)"
        R"("message":"The conditional request failed."})");
}

TEST_F(HttpError, AnUnknownTableIsABadRequestWhoseOutcomeIsNotFound)
{
    const HttpAnswer answer =
        expectRefused(apiRequest("GetItem", R"({"TableName":"/none|t","Key":)" + key("a", "1") + '}'), 400,
                      "ResourceNotFoundException", "Specified item does not exist.");
    EXPECT_EQ(answer.reason, "Not Found");
}

TEST_F(HttpError, OtherErrorsOfTheServerKeepTheirTypes)
{
    expectRefused(apiRequest("BatchWriteItem", "{}"), 400, "ValidationException", "A parameter is missing");
    expectRefused(apiRequest("GetItem", body("\"Key\":{}")), 400, "InternalServerError",
                  "The server encountered an internal error.");
}

TEST_F(HttpError, TargetsThatAreMissingOrForeign)
{
    const char* type = "UnknownOperationException";
    const std::string rest = "Content-Length: 2\r\n";
    expectRefused(post(rest, "{}"), 400, type, "The header X-Amz-Target is missing");
    for (const char* target :
         {"DynamoDB_20150810.GetItem", "DynamoDB_20111205.BatchGetItem", "DynamoDB_20111205.", "DynamoDB_20111205",
          "GetItem", "DynamoDB_20111205.GetItems", "dynamodb_20111205.GetItem"})
        expectRefused(post("X-Amz-Target: " + std::string(target) + "\r\n" + rest, "{}"), 400, type,
                      std::string("There is no operation ") + target);
}

TEST_F(HttpError, ATargetThatIsUnknownLeavesTheConnectionForTheNextRequest)
{
    HttpClient client(http_.port());
    EXPECT_EQ(client.call("ListTables", "{}").status, 400);
    EXPECT_EQ(client.call("DeleteTable", "{}").status, 200);
}

TEST_F(HttpError, OtherMethodsAreNotAllowed)
{
    for (const char* method : {"GET", "PUT", "DELETE", "PATCH", "OPTIONS", "TRACE"}) {
        const HttpAnswer answer =
            expectRefused(std::string(method) + " / HTTP/1.1\r\nHost: localhost\r\nContent-Length: 2\r\n\r\n{}", 405,
                          "InvalidRequestException", NoMethod);
        EXPECT_EQ(answer.reason, "Method Not Allowed");
        EXPECT_EQ(answer.header("allow"), "POST");
        EXPECT_EQ(answer.header("connection"), "close");
    }
    HttpClient client(http_.port());
    ASSERT_TRUE(client.send("HEAD / HTTP/1.1\r\nHost: localhost\r\n\r\n"));
    const HttpAnswer head = client.receive(false);
    EXPECT_EQ(head.status, 405);
    EXPECT_EQ(head.header("allow"), "POST");
    EXPECT_TRUE(client.isClosedByPeer());
}

TEST_F(HttpError, OtherPathsDoNotExist)
{
    for (const char* line : {"POST /table", "GET /index.html", "POST //", "POST /%2e%2e/", "POST table"})
        expectRefused(std::string(line) + " HTTP/1.1\r\nHost: localhost\r\nX-Amz-Target: DynamoDB_20111205.GetItem\r\n"
                                          "Content-Length: 2\r\n\r\n{}",
                      404, "InvalidRequestException", NoPath);
}

TEST_F(HttpError, AClientThatStillSendsGetsTheAnswer)
{
    const std::string body(20000000, ' ');
    expectRefused("POST /table HTTP/1.1\r\nHost: localhost\r\nContent-Length: " + std::to_string(body.size()) +
                      "\r\n\r\n" + body,
                  404, "InvalidRequestException", NoPath);
}

TEST_F(HttpError, WhatIsNoHttpIsAnsweredAndTheConnectionClosed)
{
    for (const char* bytes : {"BREW / HTTP/1.1\r\n\r\n", "POST / HTTP/9.9\r\n\r\n", "POST /\r\n\r\n", "\r\n\r\n"}) {
        HttpClient client(http_.port());
        const HttpAnswer answer = client.exchange(bytes);
        expectError(answer, 400, "InvalidRequestException", NoHttp);
        EXPECT_TRUE(client.isClosedByPeer());
    }
}

TEST_F(HttpError, AHeadWithoutEndIsCutOff)
{
    HttpClient client(http_.port());
    std::string bytes = "POST / HTTP/1.1\r\n";
    while (bytes.size() < 200000)
        bytes += "X-Filler: " + std::string(1000, 'x') + "\r\n";
    (void)client.send(bytes); // ignored: the peer may close before everything is sent
    const HttpAnswer answer = client.receive();
    expectError(answer, 400, "InvalidRequestException", NoHttp);
    EXPECT_TRUE(client.isClosedByPeer());
}

TEST_F(HttpError, ALineThatIsTooLongIsRefused)
{
    const std::string start = "POST /?";
    const std::string end = " HTTP/1.1\r\n";
    const auto line = [&](std::size_t bytes) {
        return start + std::string(bytes - start.size() - end.size(), 'x') + end;
    };
    // At the maximum length, it is processed.
    expectRefused(line(8192) + "Host: localhost\r\n\r\n", 400, "UnknownOperationException",
                  "The header X-Amz-Target is missing");
    expectRefused(line(8193) + "Host: localhost\r\n\r\n", 414, "InvalidRequestException", NoHttp);
    expectRefused(post("X-Filler: " + std::string(8193, 'x') + "\r\n"), 400, "InvalidRequestException", NoHttp);
}

TEST_F(HttpError, BytesChangedAnywhereHarmNobody)
{
    const std::string request =
        "POST / HTTP/1.1\r\nHost: localhost\r\nX-Amz-Target: DynamoDB_20111205.DeleteTable\r\nConnection: "
        "keep-alive\r\n"
        "Content-Encoding: identity\r\nTransfer-Encoding: chunked\r\n\r\n1\r\n{\r\n1\r\n}\r\n0\r\n\r\n";
    const std::string replacements("\0\r\n :/?#%{}019fF\x7f\xff", 19);
    std::minstd_rand random(20111205);
    for (int round = 0; round < 300; ++round) {
        std::string bytes = request + request;
        for (int change = 0; change < 1 + round % 4; ++change) {
            const std::size_t at = random() % bytes.size();
            const char replacement = replacements[random() % replacements.size()];
            switch (random() % 4) {
            case 0:
                bytes[at] = replacement;
                break;
            case 1:
                bytes.insert(at, 1 + random() % 100, replacement);
                break;
            case 2:
                bytes.erase(at, 1 + random() % 10);
                break;
            default:
                bytes.insert(at, bytes.substr(random() % bytes.size(), random() % 100));
            }
        }
        HttpClient client(http_.port());
        (void)client.send(bytes); // ignored: the peer may close before everything is sent
        EXPECT_TRUE(client.finish()) << bytes;
    }
    HttpClient client(http_.port());
    EXPECT_EQ(client.call("DeleteTable", "{}").status, 200);
}

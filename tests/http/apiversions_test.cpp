// The API of 2012-08-10 over HTTP, beside that of 2011-12-05. What its operations do is tested in tests/api.
#include "http/httpclient.h"
#include "http/httpprocess.h"
#include "support/gzipped.h"
#include "support/serverprocess.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace {

using testing::HasSubstr;

class HttpApiVersions : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_TRUE(server_.start());
        ASSERT_TRUE(http_.start(server_.port(), {"--directory", tables_}));
    }

    static std::string post(const std::string& target, const std::string& headers, const std::string& body,
                            const std::string& host = "localhost")
    {
        return "POST / HTTP/1.1\r\nHost: " + host + "\r\nX-Amz-Target: " + target + "\r\n" + headers + "\r\n" + body;
    }

    HttpAnswer exchange(const std::string& request) { return HttpClient(http_.port()).exchange(request); }

    HttpAnswer call(const std::string& operation, const std::string& body)
    {
        return exchange(post("DynamoDB_20120810." + operation, lengthOf(body), body));
    }

    static std::string lengthOf(const std::string& body)
    {
        return "Content-Length: " + std::to_string(body.size()) + "\r\n";
    }

    ServerProcess server_;
    HttpProcess http_;
    const std::string tables_ = server_.makeDirectory("tables");
    const std::string creation_ = R"({"TableName":"orders","BillingMode":"PAY_PER_REQUEST",)"
                                  R"("KeySchema":[{"AttributeName":"id","KeyType":"HASH"}],)"
                                  R"("AttributeDefinitions":[{"AttributeName":"id","AttributeType":"S"}]})";
};

} // namespace

TEST_F(HttpApiVersions, EveryAnswerHasItsHeaders)
{
    const HttpAnswer success = call("CreateTable", creation_);
    const HttpAnswer error = call("CreateTable", creation_);
    EXPECT_EQ(success.status, 200);
    EXPECT_EQ(success.reason, "OK");
    EXPECT_EQ(error.status, 400);
    EXPECT_EQ(error.reason, "Bad Request");
    EXPECT_EQ(error.body, R"({"__type":"com.amazonaws.dynamodb.v20120810#ResourceInUseException",)"
                          R"("message":"Table already exists: orders"})");
    for (const HttpAnswer& answer : {success, error}) {
        EXPECT_EQ(answer.header("content-type"), "application/x-amz-json-1.0");
        EXPECT_EQ(answer.header("content-length"), std::to_string(answer.body.size()));
        EXPECT_EQ(answer.header("x-amz-crc32"), crc32Of(answer.body));
        EXPECT_THAT(answer.header("x-amzn-requestid"), testing::MatchesRegex("[0-9a-f-]{36}"));
    }
    EXPECT_EQ(call("DescribeEndpoints", "{}").body,
              R"({"Endpoints":[{"Address":"localhost","CachePeriodInMinutes":1440}]})");
}

TEST_F(HttpApiVersions, BodiesMayBePackedAndInChunks)
{
    const std::string packed = gzipped(creation_);
    EXPECT_EQ(
        exchange(post("DynamoDB_20120810.CreateTable", "Content-Encoding: gzip\r\n" + lengthOf(packed), packed)).status,
        200);
    const HttpAnswer listed = exchange(
        post("DynamoDB_20120810.ListTables", "Transfer-Encoding: chunked\r\n", "1\r\n{\r\n1\r\n}\r\n0\r\n\r\n"));
    EXPECT_EQ(listed.body, R"({"TableNames":["orders"]})");
}

TEST_F(HttpApiVersions, BothAreOnOneConnection)
{
    ASSERT_EQ(call("CreateTable", creation_).status, 200);
    HttpClient client(http_.port());
    const std::string old = R"({"TableName":")" + tables_ + R"(|orders"})";
    EXPECT_THAT(client.call("DescribeTable", old).body,
                HasSubstr(R"("HashKeyElement":{"AttributeName":"id","AttributeType":"S"})"));
    EXPECT_EQ(client.exchange(post("DynamoDB_20120810.ListTables", lengthOf("{}"), "{}")).body,
              R"({"TableNames":["orders"]})");
    EXPECT_THAT(client.call("ListTables", "{}").body, HasSubstr("v20111205#UnknownOperationException"));
}

TEST_F(HttpApiVersions, ForeignHostsAreRefused)
{
    const std::string target = "DynamoDB_20120810.ListTables";
    EXPECT_EQ(exchange(post(target, lengthOf("{}"), "{}", "example.org")).status, 403);
    EXPECT_EQ(exchange(post(target, "Origin: http://example.org\r\n" + lengthOf("{}"), "{}")).status, 403);
}

TEST_F(HttpApiVersions, ErrorsOfTheTransportHaveTheTypesOfTheTargetsVersion)
{
    const std::string versions[][2] = {{"DynamoDB_20111205.ListTables", "v20111205"},
                                       {"DynamoDB_20120810.ListTables", "v20120810"},
                                       {"elsewhere", "v20111205"}};
    for (const auto& [target, version] : versions) {
        const auto start = R"({"__type":"com.amazonaws.dynamodb.)" + version + '#';
        const auto expect = [&](const std::string& request, int status, const char* type) {
            const HttpAnswer answer = exchange(request);
            EXPECT_EQ(answer.status, status);
            EXPECT_TRUE(answer.body.starts_with(start + type + '"')) << answer.body;
        };
        expect(post(target, lengthOf("{}"), "{}", "example.org"), 403, "AccessDeniedException");
        expect(post(target, "Content-Length: two\r\n", "{}"), 400, "InvalidRequestException");
        expect(post(target, "Content-Length: 99999999999\r\n", "{}"), 413, "RequestTooLargeException");
        const std::string junk = gzipped("{}") + "junk";
        expect(post(target, "Content-Encoding: gzip\r\n" + lengthOf(junk), junk), 400, "InvalidRequestException");
    }
}

TEST_F(HttpApiVersions, TablesAreInMainUnlessADirectoryIsNamed)
{
    HttpProcess other;
    ASSERT_TRUE(other.start(server_.port()));
    const HttpAnswer answer =
        HttpClient(other.port()).exchange(post("DynamoDB_20120810.ListTables", lengthOf("{}"), "{}"));
    EXPECT_EQ(answer.status, 400);
    EXPECT_THAT(answer.body, HasSubstr(R"(The directory \"main\" does not exist.)"));
}

TEST_F(HttpApiVersions, AServerThatIsGoneIsUnavailable)
{
    server_.kill();
    ASSERT_TRUE(server_.waitForExit());
    const HttpAnswer answer = call("ListTables", "{}");
    EXPECT_EQ(answer.status, 503);
    EXPECT_THAT(answer.body, HasSubstr("ServiceUnavailableException"));
}

TEST_F(HttpApiVersions, BodiesHaveAtMostSixteenMebibytes)
{
    constexpr std::size_t Most = 16UL * 1024 * 1024;
    const std::string list = R"({"Limit":1})";
    EXPECT_EQ(call("ListTables", list + std::string(Most - list.size(), ' ')).status, 200);
    const HttpAnswer refused = call("ListTables", list + std::string(Most - list.size() + 1, ' '));
    EXPECT_EQ(refused.status, 413);
    EXPECT_EQ(refused.body, R"({"__type":"com.amazonaws.dynamodb.v20120810#RequestTooLargeException",)"
                            R"("message":"The body is too large"})");
}

// Each allocation of a request fails once: the request may fail, nothing else does.
#include "http/httpfixture.h"
#include "support/scarcememory.h"

#include <gmock/gmock.h>

#include <string>

#ifdef QUORVA_SANITIZED
#define SKIP_WITHOUT_SCARCE_MEMORY() GTEST_SKIP() << "a sanitizer has its own allocation functions"
#else
#define SKIP_WITHOUT_SCARCE_MEMORY() static_cast<void>(0)
#endif

namespace {

class HttpScarceMemory : public HttpTest {
protected:
    void SetUp() override
    {
        SKIP_WITHOUT_SCARCE_MEMORY();
        ASSERT_NO_FATAL_FAILURE(HttpTest::SetUp());
        ASSERT_TRUE(scarce_.start(server_.port(), {"--directory", directory_.path()},
                                  memory_.environment(QUORVA_SCARCEMEMORY_LIBRARY)));
    }

    /** Sends a request again and again, each time with another allocation that fails, until there are no more. */
    void expectToSurvive(const std::string& request)
    {
        const HttpAnswer expected = exchange(request);
        EXPECT_EQ(expected.status, 200) << expected.body;
        EXPECT_EQ(exchange(request).body, expected.body); // with all connections and descriptions at hand
        int refused = 0;
        int number = 0;
        do {
            ASSERT_LT(++number, 1000);
            SCOPED_TRACE(number);
            memory_.failAllocation(number);
            HttpClient client(scarce_.port());
            const HttpAnswer answer = client.exchange(request);
            if (answer.status == 0) {
                EXPECT_TRUE(client.isClosedByPeer()) << "there was no memory for an answer";
            } else if (answer.status != 200) {
                EXPECT_THAT(answer.body, testing::HasSubstr("InternalServerError"));
            }
            refused += answer.status == 500 ? 1 : 0;
        } while (memory_.hasFailed());
        EXPECT_GT(refused, 10);
        EXPECT_EQ(exchange(request).body, expected.body);
    }

    HttpAnswer exchange(const std::string& request) const
    {
        HttpClient client(scarce_.port());
        return client.exchange(request);
    }

    static std::string request2012(const std::string& operation, const std::string& body)
    {
        return "POST / HTTP/1.1\r\nHost: localhost\r\nX-Amz-Target: DynamoDB_20120810." + operation +
               "\r\nContent-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
    }

    const std::string key2012_ = R"("Key":{"hash":{"S":"a"},"range":{"S":"1"}})";
    ScarceMemory memory_;
    HttpProcess scarce_; // serves the same as http_
};

} // namespace

TEST_F(HttpScarceMemory, AGetItemOf2011)
{
    HttpClient client(http_.port());
    ASSERT_EQ(client.call("PutItem", putBody("a", "1", R"(,"n":{"N":"1"})")).status, 200);
    expectToSurvive(apiRequest("GetItem", body(R"("Key":)" + key("a", "1"))));
}

TEST_F(HttpScarceMemory, AGetItemOf2012)
{
    HttpClient client(http_.port());
    ASSERT_EQ(client.call("PutItem", putBody("a", "1", R"(,"n":{"N":"1"})")).status, 200);
    expectToSurvive(request2012("GetItem", R"({"TableName":"items",)" + key2012_ + '}'));
}

TEST_F(HttpScarceMemory, APutItemOf2012)
{
    expectToSurvive(request2012(
        "PutItem", R"({"TableName":"items","Item":{"hash":{"S":"a"},"range":{"S":"1"},"n":{"L":[{"N":"1.5"}]}}})"));
}

TEST_F(HttpScarceMemory, AnUpdateItemOf2012)
{
    expectToSurvive(request2012("UpdateItem", R"({"TableName":"items",)" + key2012_ +
                                                  R"(,"UpdateExpression":"SET n = :n","ExpressionAttributeValues":)"
                                                  R"({":n":{"S":"x"}},"ReturnValues":"ALL_NEW"})"));
}

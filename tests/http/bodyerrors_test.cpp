#include "errorfixture.h"
#include "support/gzipped.h"

#include <string>

namespace {

constexpr const char* NoObject = "The body is not a JSON object";
constexpr const char* NoLength = "The length of the body is not valid";
constexpr const char* TooLarge = "The body is too large";

} // namespace

TEST_F(HttpError, BodiesThatAreNoJsonObject)
{
    using namespace std::string_literals;
    for (const std::string& text : {""s, "{"s, "{} {}"s, "[]"s, "1"s, "null"s, "\"{}\""s, "{\"a\":\"\xff\"}"s, "{}\0"s,
                                    "{\"a\":1e999}"s, "{\"a\":\"\\ud800\"}"s, std::string(100000, '['),
                                    "{\"a\":" + std::string(1000, '[') + std::string(1000, ']') + "}"})
        expectRefused(apiRequest("DeleteTable", text), 400, "SerializationException", NoObject);
}

TEST_F(HttpError, ABodyWithoutAnyLengthIsEmpty)
{
    expectRefused(post("X-Amz-Target: DynamoDB_20111205.DeleteTable\r\n"), 400, "SerializationException", NoObject);
}

TEST_F(HttpError, LengthsThatCannotBeTrusted)
{
    for (const char* header :
         {"Content-Length: two\r\n", "Content-Length: -2\r\n", "Content-Length: 2\r\nContent-Length: 3\r\n",
          "Content-Length: 99999999999999999999\r\n", "Transfer-Encoding: gzip, chunked\r\n"}) {
        const HttpAnswer answer =
            expectRefused(post("X-Amz-Target: DynamoDB_20111205.DeleteTable\r\n" + std::string(header), "{}"), 400,
                          "InvalidRequestException", NoLength);
        EXPECT_EQ(answer.header("connection"), "close");
    }
}

TEST_F(HttpError, BodiesThatAreNotWhatTheirHeadersSay)
{
    const std::string target = "X-Amz-Target: DynamoDB_20111205.DeleteTable\r\n";
    const char* message = "The body ended early or does not match its headers";
    expectRefused(post(target + "Transfer-Encoding: chunked\r\n", "xyz\r\n{}\r\n0\r\n\r\n"), 400,
                  "InvalidRequestException", message);
    expectRefused(post(target + "Content-Encoding: gzip\r\nContent-Length: 8\r\n", "notgzip!"), 400,
                  "InvalidRequestException", message);
}

TEST_F(HttpError, BodiesAreLimited)
{
    HttpProcess limited;
    ASSERT_TRUE(limited.start(server_.port(), {"--max-body", "1000"}));
    const std::string target = "X-Amz-Target: DynamoDB_20111205.DeleteTable\r\n";
    const auto padded = [](std::size_t size) { return "{" + std::string(size - 2, ' ') + "}"; };
    HttpClient client(limited.port());
    EXPECT_EQ(client.call("DeleteTable", padded(1000)).status, 200);
    expectError(
        client.exchange(post(target + "Transfer-Encoding: chunked\r\n", "3e9\r\n" + padded(1001) + "\r\n0\r\n\r\n")),
        413, "RequestTooLargeException", TooLarge);
    EXPECT_EQ(client.call("DeleteTable", "{}").status, 200);
    expectError(client.call("DeleteTable", padded(1001)), 413, "RequestTooLargeException", TooLarge);
    EXPECT_TRUE(client.isClosedByPeer());
}

TEST_F(HttpError, ALargeBodyIsReadToItsEndSoThatItsSenderGetsTheAnswer)
{
    HttpProcess limited;
    ASSERT_TRUE(limited.start(server_.port(), {"--max-body", "1000"}));
    HttpClient client(limited.port());
    expectError(client.call("DeleteTable", std::string(20000000, ' ')), 413, "RequestTooLargeException", TooLarge);
}

TEST_F(HttpError, TheLimitHoldsForTheUnpackedBody)
{
    HttpProcess limited;
    ASSERT_TRUE(limited.start(server_.port(), {"--max-body", "1000"}));
    HttpClient client(limited.port());
    const auto packedCall = [&](const std::string& text) {
        const std::string packed = gzipped(text);
        EXPECT_LT(packed.size(), 1000U);
        return client.exchange(post("X-Amz-Target: DynamoDB_20111205.DeleteTable\r\nContent-Encoding: gzip\r\n"
                                    "Content-Length: " +
                                        std::to_string(packed.size()) + "\r\n",
                                    packed));
    };
    EXPECT_EQ(packedCall("{}").status, 200);
    expectError(packedCall('{' + std::string(100000, ' ') + '}'), 413, "RequestTooLargeException", TooLarge);
}

TEST_F(HttpError, ALargeBodyThatIsAnnouncedIsRefusedBeforeItIsSent)
{
    HttpProcess limited;
    ASSERT_TRUE(limited.start(server_.port(), {"--max-body", "1000"}));
    HttpClient client(limited.port());
    const HttpAnswer answer = client.exchange(post("X-Amz-Target: DynamoDB_20111205.DeleteTable\r\n"
                                                   "Expect: 100-continue\r\nContent-Length: 1001\r\n"));
    expectError(answer, 413, "RequestTooLargeException", TooLarge);
    EXPECT_TRUE(client.isClosedByPeer());
}

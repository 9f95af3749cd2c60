#include "requestfixture.h"

#include <thread>
#include <vector>

TEST_F(HttpRequest, OneConnectionCarriesOneAfterAnotherEvenIfTheyArriveTogether)
{
    HttpClient client(http_.port());
    ASSERT_TRUE(client.send(apiRequest("PutItem", putBody("a", "1", R"(,"n":{"N":"1"})")) +
                            apiRequest("GetItem", body("\"Key\":" + key("a", "1"))) + apiRequest("GetItem", "{")));
    EXPECT_EQ(client.receive().body, R"({"Attributes":{"n":{"N":"1"}}})");
    EXPECT_EQ(client.receive().body, R"({"Item":{"n":{"N":"1"}}})");
    EXPECT_EQ(client.receive().status, 400);
}

TEST_F(HttpRequest, AChunkedBodyIsOneBody)
{
    const std::string text = putBody("a", "1", R"(,"n":{"N":"1"})");
    HttpClient client(http_.port());
    const HttpAnswer answer = client.exchange("POST / HTTP/1.1\r\nHost: localhost\r\nX-Amz-Target: "
                                              "DynamoDB_20111205.PutItem\r\nTransfer-Encoding: chunked\r\n\r\n"
                                              "5\r\n" +
                                              text.substr(0, 5) + "\r\n" +
                                              [&] {
                                                  char size[20];
                                                  std::snprintf(size, sizeof size, "%zx\r\n", text.size() - 5);
                                                  return std::string(size);
                                              }() +
                                              text.substr(5) + "\r\n0\r\n\r\n");
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.body, R"({"Attributes":{"n":{"N":"1"}}})");
    EXPECT_EQ(client.call("GetItem", body("\"Key\":" + key("a", "1"))).body, R"({"Item":{"n":{"N":"1"}}})");
}

TEST_F(HttpRequest, AClientThatExpects100ContinueReceivesIt)
{
    const std::string text = putBody("a", "1");
    HttpClient client(http_.port());
    ASSERT_TRUE(client.send(
        "POST / HTTP/1.1\r\nHost: localhost\r\nX-Amz-Target: DynamoDB_20111205.PutItem\r\nExpect: 100-continue\r\n"
        "Content-Length: " +
        std::to_string(text.size()) + "\r\n\r\n"));
    EXPECT_EQ(client.receive().status, 100);
    EXPECT_EQ(client.exchange(text).status, 200);
}

TEST_F(HttpRequest, AnOldClientIsAnsweredAndTheConnectionClosed)
{
    HttpClient client(http_.port());
    const HttpAnswer answer = client.exchange("POST / HTTP/1.0\r\nHost: localhost\r\nX-Amz-Target: "
                                              "DynamoDB_20111205.DeleteTable\r\nContent-Length: 2\r\n\r\n{}");
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.body, "{}");
    EXPECT_TRUE(client.isClosedByPeer());
}

TEST_F(HttpRequest, AClientThatAsksForItIsClosedAfterItsAnswer)
{
    for (const std::string wish : {"close", "Close", "CLOSE", "TE, close", "close,TE", "keep-alive , Close"}) {
        HttpClient client(http_.port());
        const HttpAnswer answer =
            client.exchange("POST / HTTP/1.1\r\nHost: localhost\r\nX-Amz-Target: DynamoDB_20111205.DeleteTable\r\n"
                            "Connection: " +
                            wish + "\r\nContent-Length: 2\r\n\r\n{}");
        EXPECT_EQ(answer.status, 200) << wish;
        EXPECT_EQ(answer.header("connection"), "close") << wish;
        EXPECT_TRUE(client.isClosedByPeer()) << wish;
    }
}

TEST_F(HttpRequest, AClientWithAnotherExpectationContinues)
{
    for (const std::string wish : {"keep-alive", "Keep-Alive", "TE", "closed", ""}) {
        HttpClient client(http_.port());
        const std::string request =
            "POST / HTTP/1.1\r\nHost: localhost\r\nX-Amz-Target: DynamoDB_20111205.DeleteTable\r\n"
            "Connection: " +
            wish + "\r\nContent-Length: 2\r\n\r\n{}";
        EXPECT_EQ(client.exchange(request).status, 200) << wish;
        EXPECT_EQ(client.exchange(request).status, 200) << wish;
    }
}

TEST_F(HttpRequest, LargeItemsPassInBothDirections)
{
    HttpClient client(http_.port());
    const std::string attribute = R"(,"t":{"S":")" + std::string(500000, 'x') + "\"}";
    const HttpAnswer put = client.call("PutItem", putBody("a", "1", attribute));
    EXPECT_EQ(put.status, 200);
    const HttpAnswer got = client.call("GetItem", body("\"Key\":" + key("a", "1")));
    EXPECT_EQ(got.status, 200);
    EXPECT_TRUE(got.body == "{\"Item\":{" + attribute.substr(1) + "}}") << got.body.size();
    EXPECT_EQ(got.header("x-amz-crc32"), crc32Of(got.body));
}

TEST_F(HttpRequest, ManyConcurrentClientsGetTheirOwnAnswers)
{
    std::vector<std::thread> clients;
    for (int number = 0; number < 12; ++number)
        clients.emplace_back([this, number] {
            HttpClient client(http_.port());
            const std::string hash = "h" + std::to_string(number);
            for (int i = 0; i < 20; ++i) {
                const std::string attribute = R"("n":{"N":")" + std::to_string(number * 1000 + i) + "\"}";
                const HttpAnswer put = client.call("PutItem", putBody(hash, std::to_string(i), ',' + attribute));
                EXPECT_EQ(put.body, "{\"Attributes\":{" + attribute + "}}");
                const HttpAnswer got = client.call("GetItem", body("\"Key\":" + key(hash, std::to_string(i))));
                EXPECT_EQ(got.body, "{\"Item\":{" + attribute + "}}");
            }
        });
    for (std::thread& client : clients)
        client.join();
}

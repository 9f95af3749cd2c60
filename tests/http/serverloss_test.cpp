#include "http/httpfixture.h"
#include "support/heldport.h"
#include "support/scriptedserver.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>

#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <future>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

class HttpServerLoss : public HttpTest {
protected:
    void endServer()
    {
        server_.kill();
        ASSERT_EQ(server_.waitForExit(), -SIGKILL);
    }

    /** Starts the server on its previous port, which others may hold for a while. */
    void startServerAgain()
    {
        const int port = server_.port();
        ASSERT_TRUE(waitUntil([&] {
            if (!server_.launch({"-p", std::to_string(port), "-d", server_.logPath()}))
                return true; // launch() has already failed the test
            if (server_.waitForLog("Server listening on "))
                return true;
            (void)server_.waitForExit(); // ignored: it ends because the port is taken
            return false;
        }));
        ASSERT_TRUE(server_.isRunning());
    }
};

const std::string Ok = ScriptedServer::framed(R"({"__rc":200,"__rcstr":"OK"})");

} // namespace

TEST_F(HttpServerLoss, ARestartBetweenTwoRequestsIsNotSeen)
{
    HttpClient client(http_.port());
    for (int round = 1; round <= 3; ++round) {
        const std::string attribute = R"("n":{"N":")" + std::to_string(round) + "\"}";
        ASSERT_EQ(client.call("PutItem", putBody("a", "1", ',' + attribute)).status, 200);
        ASSERT_NO_FATAL_FAILURE(endServer());
        ASSERT_NO_FATAL_FAILURE(startServerAgain());
        const HttpAnswer got = client.call("GetItem", body("\"Key\":" + key("a", "1")));
        EXPECT_EQ(got.status, 200);
        EXPECT_EQ(got.body, "{\"Item\":{" + attribute + "}}");
    }
}

TEST_F(HttpServerLoss, AllIdleConnectionsOfARestartedServerAreReplaced)
{
    // Concurrent requests leave as many connections in the pool.
    const auto callAll = [&] {
        std::vector<std::thread> clients;
        std::atomic<int> successes = 0;
        for (int number = 0; number < 8; ++number)
            clients.emplace_back([&, number] {
                HttpClient client(http_.port());
                for (int i = 0; i < 10; ++i)
                    successes +=
                        client.call("PutItem", putBody(std::to_string(number), std::to_string(i))).status == 200;
            });
        for (std::thread& client : clients)
            client.join();
        return successes.load();
    };
    EXPECT_EQ(callAll(), 80);
    ASSERT_NO_FATAL_FAILURE(endServer());
    ASSERT_NO_FATAL_FAILURE(startServerAgain());
    EXPECT_EQ(callAll(), 80);
}

TEST_F(HttpServerLoss, AServerThatIsDownIsUnavailableUntilItIsBack)
{
    HttpClient client(http_.port());
    ASSERT_EQ(client.call("PutItem", putBody("a", "1")).status, 200);
    ASSERT_NO_FATAL_FAILURE(endServer());
    const HttpAnswer answer = client.call("GetItem", body("\"Key\":" + key("a", "1")));
    expectError(answer, 503, "ServiceUnavailableException",
                "The server cannot be reached, nothing was done: connect: Connection refused");
    EXPECT_EQ(answer.reason, "Service Unavailable");
    ASSERT_NO_FATAL_FAILURE(startServerAgain());
    EXPECT_EQ(client.call("GetItem", body("\"Key\":" + key("a", "1"))).body, R"({"Item":{}})");
}

TEST(HttpWithoutServer, StartsAndSaysSoToEachRequest)
{
    const HeldPort nobody;
    HttpProcess http;
    ASSERT_TRUE(http.start(nobody.number()));
    HttpClient client(http.port());
    for (int i = 0; i < 2; ++i)
        expectError(client.call("Scan", "{}"), 503, "ServiceUnavailableException",
                    "The server cannot be reached, nothing was done: connect: Connection refused");
}

TEST(HttpWithScriptedServer, RequestsOneAfterAnotherShareAConnection)
{
    std::mutex mutex;
    std::string operations;
    ScriptedServer server([&](const ScriptedServer::Request& request) {
        const std::lock_guard lock(mutex);
        operations += request.operation + request.body + ' ';
        return Ok;
    });
    HttpProcess http;
    ASSERT_TRUE(http.start(server.port()));
    for (const char* operation : {"Scan", "Query", "GetItem"}) {
        HttpClient client(http.port());
        EXPECT_EQ(client.call(operation, "{ }").status, 200);
    }
    const std::lock_guard lock(mutex);
    EXPECT_EQ(operations, "DynamoDB_20111205.Scan{ } DynamoDB_20111205.Query{ } DynamoDB_20111205.GetItem{ } ");
    EXPECT_EQ(server.connections(), 1);
}

TEST(HttpWithScriptedServer, ARequestThatMayHaveBeenExecutedIsNotSentAgain)
{
    std::atomic<int> call = 0;
    ScriptedServer server([&](const ScriptedServer::Request&) { return ++call == 2 ? std::string() : Ok; });
    HttpProcess http;
    ASSERT_TRUE(http.start(server.port()));
    HttpClient client(http.port());
    ASSERT_EQ(client.call("PutItem", "{}").status, 200);
    const HttpAnswer lost = client.call("PutItem", "{}");
    expectError(lost, 502, "InternalServerError",
                "No reply was received, the request may have been executed: the server closed the connection");
    EXPECT_EQ(lost.reason, "Bad Gateway");
    EXPECT_EQ(server.requests(), 2);
    EXPECT_EQ(server.connections(), 1);
    EXPECT_EQ(client.call("PutItem", "{}").status, 200);
    EXPECT_EQ(server.requests(), 3);
    EXPECT_EQ(server.connections(), 2);
}

TEST(HttpWithScriptedServer, AReplyThatStallsIsLateAndNotLost)
{
    std::atomic<std::size_t> bytes = 0; // of the reply; its length takes four
    ScriptedServer server([&](const ScriptedServer::Request&) { return Ok.substr(0, bytes); });
    HttpProcess http;
    ASSERT_TRUE(http.start(server.port(), {"--receive-timeout", "1"}));
    HttpClient client(http.port());
    int requests = 0;
    for (const std::size_t size : {2, 9}) {
        bytes = size;
        expectError(client.call("PutItem", "{}"), 504, "InternalServerError",
                    "No reply was received in time, the request may have been executed: no bytes within 1000 ms");
        EXPECT_EQ(server.requests(), ++requests) << size;
    }
}

TEST(HttpWithScriptedServer, AServerThatDoesNotReplyIsNotWaitedForWithoutLimit)
{
    std::promise<void> answered;
    std::shared_future<void> wait = answered.get_future();
    ScriptedServer server([&](const ScriptedServer::Request&) {
        wait.wait();
        return std::string();
    });
    HttpProcess http;
    ASSERT_TRUE(http.start(server.port(), {"--receive-timeout", "1"}));
    HttpClient client(http.port());
    const HttpAnswer answer = client.call("PutItem", "{}");
    expectError(answer, 504, "InternalServerError",
                "No reply was received in time, the request may have been executed: no bytes within 1000 ms");
    EXPECT_EQ(answer.reason, "Gateway Timeout");
    EXPECT_EQ(server.requests(), 1);
    answered.set_value();
}

TEST(HttpWithScriptedServer, ALateReplyIsNotMistakenForTheNextRequests)
{
    std::promise<void> timedOut;
    std::shared_future<void> wait = timedOut.get_future();
    ScriptedServer server([&](const ScriptedServer::Request& request) {
        wait.wait();
        return ScriptedServer::framed(R"({"__rc":200,"Operation":")" + request.operation + "\"}");
    });
    HttpProcess http;
    ASSERT_TRUE(http.start(server.port(), {"--receive-timeout", "1"}));
    HttpClient client(http.port());
    ASSERT_EQ(client.call("PutItem", "{}").status, 504);
    timedOut.set_value();
    EXPECT_EQ(client.call("Scan", "{}").body, R"({"Operation":"DynamoDB_20111205.Scan"})");
}

TEST(HttpWithScriptedServer, BytesThatNobodyAskedForEndTheConnectionBeforeItIsUsedAgain)
{
    ScriptedServer server([&](const ScriptedServer::Request&) { return Ok + Ok; });
    HttpProcess http;
    ASSERT_TRUE(http.start(server.port()));
    HttpClient client(http.port());
    ASSERT_EQ(client.call("PutItem", "{}").status, 200);
    ASSERT_EQ(client.call("PutItem", "{}").status, 200);
    EXPECT_EQ(server.requests(), 2);
    EXPECT_EQ(server.connections(), 2);
}

TEST(HttpWithScriptedServer, AReplyWithoutStatusIsABadGateway)
{
    ScriptedServer server([&](const ScriptedServer::Request&) { return ScriptedServer::framed("{}"); });
    HttpProcess http;
    ASSERT_TRUE(http.start(server.port()));
    HttpClient client(http.port());
    expectError(client.call("PutItem", "{}"), 502, "InternalServerError", "The server's reply has no status");
}

#include "http/httpfixture.h"
#include "support/scriptedserver.h"
#include "support/waituntil.h"

#include <atomic>
#include <csignal>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

/** A server that replies only when released, and quorva-http in front of it. */
class HttpLifetime : public testing::Test {
protected:
    ~HttpLifetime() override
    {
        if (!isReleased_)
            release(); // the server's destructor waits for its threads
    }

    void start(const std::vector<std::string>& arguments = {})
    {
        server_ = std::make_unique<ScriptedServer>([this](const ScriptedServer::Request&) {
            released_.wait();
            return ScriptedServer::framed(R"({"__rc":200,"__rcstr":"OK"})");
        });
        ASSERT_TRUE(http_.start(server_->port(), arguments));
    }

    void waitForRequests(int count)
    {
        ASSERT_TRUE(waitUntil([&] { return server_->requests() == count; })) << server_->requests();
    }

    /** Makes it exit, by a signal, while a request of the client is waiting for the server's reply. */
    void terminateDuringRequest(HttpClient* client)
    {
        ASSERT_TRUE(client->send(apiRequest("PutItem", "{}")));
        ASSERT_NO_FATAL_FAILURE(waitForRequests(1));
        http_.kill(SIGTERM);
        ASSERT_TRUE(waitUntil([&] { return !canConnect("127.0.0.1", http_.port()); }));
    }

    void release()
    {
        release_.set_value();
        isReleased_ = true;
    }

    bool isReleased_ = false;
    std::promise<void> release_;
    std::shared_future<void> released_ = release_.get_future();
    std::unique_ptr<ScriptedServer> server_;
    HttpProcess http_;
};

} // namespace

TEST_F(HttpLifetime, EitherSignalEndsItThoughAClientIsIdle)
{
    release();
    ASSERT_NO_FATAL_FAILURE(start({"--keep-alive", "1000"}));
    HttpClient idle(http_.port());
    ASSERT_EQ(idle.call("Scan", "{}").status, 200);
    http_.kill(SIGTERM);
    EXPECT_EQ(http_.waitForExit(), 0);
    EXPECT_TRUE(idle.isClosedByPeer());

    ASSERT_TRUE(http_.start(server_->port()));
    http_.kill(SIGINT);
    EXPECT_EQ(http_.waitForExit(), 0);
}

TEST_F(HttpLifetime, ARequestUnderWayIsAnsweredBeforeItEnds)
{
    ASSERT_NO_FATAL_FAILURE(start());
    HttpClient client(http_.port());
    ASSERT_NO_FATAL_FAILURE(terminateDuringRequest(&client));
    release();
    const HttpAnswer answer = client.receive();
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.body, "{}");
    EXPECT_TRUE(client.isClosedByPeer());
    EXPECT_EQ(http_.waitForExit(), 0);
}

TEST_F(HttpLifetime, ASecondSignalEndsItImmediately)
{
    ASSERT_NO_FATAL_FAILURE(start());
    HttpClient client(http_.port());
    ASSERT_NO_FATAL_FAILURE(terminateDuringRequest(&client));
    http_.kill(SIGTERM);
    EXPECT_EQ(http_.waitForExit(), -SIGTERM);
    release();
}

TEST_F(HttpLifetime, ARequestThatNeverBecomesWholeDoesNotHoldTheEndUp)
{
    release();
    ASSERT_NO_FATAL_FAILURE(start({"--transfer-timeout", "1000"}));
    HttpClient client(http_.port());
    ASSERT_EQ(client.call("Scan", "{}").status, 200); // which shows that it is served
    ASSERT_TRUE(client.send(
        "POST / HTTP/1.1\r\nHost: localhost\r\nX-Amz-Target: DynamoDB_20111205.Scan\r\nContent-Length: 100\r\n\r\n{"));
    http_.kill(SIGTERM);
    EXPECT_EQ(http_.waitForExit(), 0);
    EXPECT_EQ(server_->requests(), 1);
}

TEST_F(HttpLifetime, AClientThatStaysAfterARefusalDoesNotHoldTheEndUp)
{
    release();
    ASSERT_NO_FATAL_FAILURE(start({"--transfer-timeout", "1000"}));
    HttpClient client(http_.port());
    ASSERT_EQ(client.exchange("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n").status, 405);
    http_.kill(SIGTERM);
    EXPECT_EQ(http_.waitForExit(), 0);
}

TEST_F(HttpLifetime, AnIdleClientIsClosedAfterAWhile)
{
    release();
    ASSERT_NO_FATAL_FAILURE(start({"--keep-alive", "1"}));
    HttpClient client(http_.port());
    ASSERT_EQ(client.call("Scan", "{}").status, 200);
    EXPECT_TRUE(client.isClosedByPeer());
}

TEST_F(HttpLifetime, AClientThatPausesWithinARequestIsClosedAfterAWhile)
{
    release();
    ASSERT_NO_FATAL_FAILURE(start({"--transfer-timeout", "1"}));
    HttpClient client(http_.port());
    ASSERT_TRUE(client.send(
        "POST / HTTP/1.1\r\nHost: localhost\r\nX-Amz-Target: DynamoDB_20111205.Scan\r\nContent-Length: 100\r\n\r\n{"));
    EXPECT_EQ(client.receive().status, 400);
    EXPECT_TRUE(client.isClosedByPeer());
    EXPECT_EQ(server_->requests(), 0);
}

TEST_F(HttpLifetime, IdleClientsKeepNobodyOut)
{
    release();
    ASSERT_NO_FATAL_FAILURE(start({"--threads", "2", "--keep-alive", "1000"}));
    std::vector<std::unique_ptr<HttpClient>> clients;
    for (int number = 0; number < 10; ++number) {
        clients.push_back(std::make_unique<HttpClient>(http_.port()));
        EXPECT_EQ(clients.back()->call("Scan", "{}").status, 200) << number;
    }
}

/** Making room for other connections costs nobody an answer, and stops when the load does. */
TEST_F(HttpLifetime, NoRequestOfACrowdIsLeftWithoutItsAnswer)
{
    release();
    ASSERT_NO_FATAL_FAILURE(start({"--threads", "2"}));
    std::vector<std::thread> crowd;
    std::atomic<int> answered = 0;
    for (int thread = 0; thread < 8; ++thread) {
        crowd.emplace_back([&] {
            for (int number = 0; number < 30; ++number) {
                HttpClient client(http_.port());
                for (bool goesOn = true; goesOn;) { // until it is told to make room
                    const HttpAnswer answer = client.call("Scan", "{}");
                    EXPECT_EQ(answer.status, 200);
                    ++answered;
                    goesOn = answer.status == 200 && answer.header("connection").empty() && answered % 3 != 0;
                }
            }
        });
    }
    for (std::thread& thread : crowd)
        thread.join();
    EXPECT_GE(answered, 8 * 30);

    HttpClient alone(http_.port());
    for (int number = 0; number < 20; ++number) {
        const HttpAnswer answer = alone.call("Scan", "{}");
        ASSERT_EQ(answer.status, 200) << number;
        ASSERT_EQ(answer.header("connection"), "") << number;
    }
}

TEST_F(HttpLifetime, ClientsThatWaitAreServedWhenAThreadIsFree)
{
    ASSERT_NO_FATAL_FAILURE(start({"--threads", "1"}));
    HttpClient first(http_.port());
    ASSERT_TRUE(first.send(apiRequest("Scan", "{}")));
    ASSERT_NO_FATAL_FAILURE(waitForRequests(1));
    HttpClient second(http_.port());
    ASSERT_TRUE(second.send(apiRequest("Scan", "{}")));
    release();
    EXPECT_EQ(first.receive().status, 200);
    EXPECT_EQ(second.receive().status, 200);
}

TEST_F(HttpLifetime, ClientsThatGoBeforeTheirAnswerHarmNobody)
{
    ASSERT_NO_FATAL_FAILURE(start());
    HttpClient closed(http_.port());
    ASSERT_TRUE(closed.send(apiRequest("PutItem", "{}")));
    ASSERT_NO_FATAL_FAILURE(waitForRequests(1));
    closed.close();
    HttpClient reset(http_.port());
    ASSERT_TRUE(reset.send(apiRequest("PutItem", "{}")));
    reset.close(true);
    release();
    HttpClient client(http_.port());
    EXPECT_EQ(client.call("Scan", "{}").status, 200);
}

TEST_F(HttpLifetime, AClientThatGoesWithinItsRequestHarmsNobody)
{
    release();
    ASSERT_NO_FATAL_FAILURE(start());
    const std::string request = apiRequest("PutItem", "{ }");
    int whole = 0;
    for (std::size_t size = 0; size <= request.size(); size += 7)
        for (const bool reset : {false, true}) {
            HttpClient gone(http_.port());
            ASSERT_TRUE(gone.send(request.substr(0, size)));
            gone.close(reset);
            whole += size == request.size();
        }
    HttpClient client(http_.port());
    EXPECT_EQ(client.call("Scan", "{}").status, 200);
    EXPECT_LE(server_->requests(), 1 + whole);
}

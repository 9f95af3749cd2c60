// Requests that no thread of quorva-http waits for: those on a connection that an earlier request has opened.
#include "http/httpclient.h"
#include "http/httpprocess.h"
#include "support/scriptedserver.h"
#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <condition_variable>
#include <csignal>
#include <filesystem>
#include <iterator>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace {

const std::string Held = R"({"held":1})"; // a request that is answered when the server is released

/** A server that holds some requests back, and quorva-http in front of it. */
class HttpExchanges : public testing::Test {
protected:
    ~HttpExchanges() override
    {
        const std::lock_guard lock(mutex_);
        isOver_ = true;
        changed_.notify_all();
    }

    /** Starts it, and has it open this many connections to the server. */
    void start(int connections, const std::vector<std::string>& arguments = {})
    {
        server_ = std::make_unique<ScriptedServer>([this](const ScriptedServer::Request& request) {
            std::unique_lock lock(mutex_);
            if (request.body.starts_with(Held.substr(0, 7)))
                hold(&lock);
            return reply_;
        });
        ASSERT_TRUE(http_.start(server_->port(), arguments));
        idleDescriptors_ = descriptors();
        earlier_ = sendHeld(connections);
        release();
        expectAnswers(earlier_);
        ASSERT_EQ(server_->connections(), connections);
    }

    /** As many clients, each with a request that the server has received and holds back. */
    std::vector<std::unique_ptr<HttpClient>> sendHeld(int count)
    {
        std::vector<std::unique_ptr<HttpClient>> clients;
        for (int number = 0; number < count; ++number) {
            clients.push_back(std::make_unique<HttpClient>(http_.port()));
            EXPECT_TRUE(clients.back()->send(apiRequest("GetItem", Held)));
        }
        std::unique_lock lock(mutex_);
        EXPECT_TRUE(changed_.wait_for(lock, std::chrono::minutes(1), [&] { return held_ == count; })) << held_;
        return clients;
    }

    void hold(std::unique_lock<std::mutex>* lock)
    {
        ++held_;
        changed_.notify_all();
        changed_.wait(*lock, [this, round = round_] { return isOver_ || round_ != round; });
    }

    void release()
    {
        const std::lock_guard lock(mutex_);
        held_ = 0;
        ++round_;
        changed_.notify_all();
    }

    static void expectAnswers(const std::vector<std::unique_ptr<HttpClient>>& clients)
    {
        for (const auto& client : clients)
            EXPECT_EQ(client->receive().body, "{}");
    }

    /** The descriptors that quorva-http has open. */
    long descriptors() const
    {
        const std::filesystem::directory_iterator all("/proc/" + std::to_string(http_.id()) + "/fd");
        return std::distance(begin(all), end(all));
    }

    /** A request that is too long for the event loop, so that a thread serves it. */
    static std::string longBody() { return R"({"x":")" + std::string(20'000, 'x') + "\"}"; }

    std::mutex mutex_;
    std::condition_variable changed_;
    int held_ = 0;  // requests that wait for the next release
    int round_ = 0; // the number of releases
    bool isOver_ = false;
    std::string reply_ = ScriptedServer::framed(R"({"__rc":200,"__rcstr":"OK"})");
    std::unique_ptr<ScriptedServer> server_;
    HttpProcess http_;
    std::vector<std::unique_ptr<HttpClient>> earlier_; // kept, so that no descriptor is closed meanwhile
    long idleDescriptors_ = 0;                         // of quorva-http before its first client
};

} // namespace

TEST_F(HttpExchanges, AreAnsweredBeforeItEnds)
{
    ASSERT_NO_FATAL_FAILURE(start(2));
    const auto clients = sendHeld(2);
    http_.kill(SIGTERM);
    ASSERT_TRUE(waitUntil([&] { return !canConnect("127.0.0.1", http_.port()); }));
    release();
    ASSERT_NO_FATAL_FAILURE(expectAnswers(clients));
    EXPECT_EQ(http_.waitForExit(), 0);
    EXPECT_EQ(server_->connections(), 2);
}

TEST_F(HttpExchanges, OneWhoseClientHasGoneMakesRoomForOthers)
{
    ASSERT_NO_FATAL_FAILURE(start(1, {"--threads", "1"}));
    sendHeld(1).front()->close(true);
    release();
    HttpClient client(http_.port());
    EXPECT_EQ(client.call("GetItem", "{}").body, "{}");
    EXPECT_EQ(client.call("GetItem", longBody()).body, "{}");
    http_.kill(SIGTERM);
    EXPECT_EQ(http_.waitForExit(), 0);
}

TEST_F(HttpExchanges, OneThatTakesTooLongFailsAloneAndOthersGoOn)
{
    ASSERT_NO_FATAL_FAILURE(start(2, {"--receive-timeout", "1"}));
    const auto late = sendHeld(1);
    HttpClient client(http_.port());
    EXPECT_EQ(client.call("GetItem", "{}").body, "{}");
    expectError(late.front()->receive(), 504, "InternalServerError",
                "No reply was received in time, the request may have been executed: no bytes within 1000 ms");
    EXPECT_EQ(client.call("GetItem", "{}").body, "{}");
    EXPECT_EQ(server_->connections(), 2);
    EXPECT_EQ(server_->requests(), 2 + 1 + 2);
    http_.kill(SIGTERM);
    EXPECT_EQ(http_.waitForExit(), 0);
}

TEST_F(HttpExchanges, LongReplyComesInWhole)
{
    ASSERT_NO_FATAL_FAILURE(start(1));
    const std::string body = R"({"Item":{"x":")" + std::string(3'000'000, 'y') + "\"}";
    {
        const std::lock_guard lock(mutex_);
        reply_ = ScriptedServer::framed(body + R"(,"__rc":200,"__rcstr":"OK"})");
    }
    HttpClient client(http_.port());
    EXPECT_EQ(client.call("GetItem", "{}").body, body + '}');
    EXPECT_EQ(client.call("GetItem", "{}").body, body + '}');
    EXPECT_EQ(server_->connections(), 1);
}

TEST_F(HttpExchanges, AreNoMoreThanThreadsAllowsAndOthersWait)
{
    ASSERT_NO_FATAL_FAILURE(start(2, {"--threads", "2"}));
    auto clients = sendHeld(2);
    for (const std::string& body : {std::string("{}"), longBody()}) {
        clients.push_back(std::make_unique<HttpClient>(http_.port()));
        ASSERT_TRUE(clients.back()->send(apiRequest("GetItem", body)));
    }
    HttpClient refused(http_.port());
    ASSERT_EQ(refused.exchange("GET / HTTP/1.1\r\nHost: localhost\r\n\r\n").status, 405); // the others were read
    EXPECT_EQ(server_->requests(), 2 + 2);
    const long before = descriptors();
    release();
    ASSERT_NO_FATAL_FAILURE(expectAnswers(clients));
    EXPECT_EQ(server_->requests(), 2 + 4);
    EXPECT_LE(descriptors(), before);
}

TEST_F(HttpExchanges, ThreadThatNeedsAConnectionReplacesAnIdleOne)
{
    ASSERT_NO_FATAL_FAILURE(start(2, {"--threads", "2"}));
    HttpClient client(http_.port());
    std::vector<std::unique_ptr<HttpClient>> clients;
    // A thread still keeps its place for a moment after its response, so a request may go to a thread that finds one of
    // its own.
    ASSERT_TRUE(waitUntil([&] {
        auto held = sendHeld(2);
        release();
        expectAnswers(held);
        std::move(held.begin(), held.end(), std::back_inserter(clients));
        EXPECT_EQ(client.call("GetItem", longBody()).body, "{}");
        return HasFailure() || server_->connections() > 2;
    }));
    EXPECT_EQ(server_->connections(), 3);
    EXPECT_EQ(descriptors(), idleDescriptors_ + 2 + std::ssize(earlier_) + 1 + std::ssize(clients));
}

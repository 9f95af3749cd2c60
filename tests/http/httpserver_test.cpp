#include "http/httpserver.h"

#include "http/httpclient.h"
#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

using Http::Fault;
using Http::HttpLimits;
using Http::HttpService;
using Http::RequestHead;
using Http::Response;

namespace {

/** Answers with the body of the request, its target as the reason: at once, or on another thread when it is told to. */
class Echo : public HttpService {
public:
    ~Echo() override { answerHeld(); }

    bool admits(int) override { return true; }

    std::optional<Response> refuse(const RequestHead& head) override
    {
        if (head.target != "/refused")
            return std::nullopt;
        return Response{403, "", {{"Word", "no"}}, "refused"};
    }

    Response faultResponse(Fault fault) override
    {
        return {400, "", {}, "fault " + QByteArray::number(static_cast<int>(fault))};
    }

    void serve(const RequestHead& head, QByteArray&& body, std::function<void(Response&&)> done) override
    {
        auto answer = [&head, body = std::move(body), done = std::move(done)] {
            done({200, head.target, {}, head.target == "/large" ? QByteArray(20000000, 'x') : body});
        };
        ++served_;
        if (head.target != "/held") {
            answer();
            return;
        }
        const std::lock_guard lock(mutex_);
        held_.emplace_back(std::move(answer));
    }

    void answerHeld()
    {
        const std::lock_guard lock(mutex_);
        for (const auto& answer : std::exchange(held_, {}))
            answer();
    }

    int served() const { return served_; }

private:
    std::atomic<int> served_ = 0;
    std::mutex mutex_;
    std::vector<std::function<void()>> held_;
};

std::string request(const std::string& target, const std::string& body, const std::string& headers = "")
{
    return "POST " + target + " HTTP/1.1\r\n" + headers + "Content-Length: " + std::to_string(body.size()) +
           "\r\n\r\n" + body;
}

class HttpTransport : public testing::Test {
protected:
    HttpTransport()
    {
        limits_.request.body = 1000000;
        limits_.connections = 100;
        limits_.largeBodies = 10;
        limits_.keepAlive = std::chrono::seconds(100);
        limits_.transfer = std::chrono::seconds(100);
    }

    ~HttpTransport() override
    {
        if (thread_.joinable())
            end();
    }

    void start()
    {
        server_ = std::make_unique<Http::HttpServer>(limits_, &service_, &crew_);
        port_ = server_->bind(0);
        ASSERT_GT(port_, 0);
        thread_ = std::thread([this] { EXPECT_TRUE(server_->run()); });
    }

    void end()
    {
        server_->endRun();
        service_.answerHeld();
        thread_.join();
    }

    HttpLimits limits_;
    Echo service_;
    Http::Crew crew_{1};
    std::unique_ptr<Http::HttpServer> server_;
    int port_ = 0;
    std::thread thread_;
};

} // namespace

TEST_F(HttpTransport, AnswerHasTheReasonThatTheServiceGivesIfItIsPlainText)
{
    ASSERT_NO_FATAL_FAILURE(start());
    HttpClient client(port_);
    const HttpAnswer answer = client.exchange(request("/why", "abc"));
    EXPECT_EQ(answer.status, 200);
    EXPECT_EQ(answer.reason, "/why");
    EXPECT_EQ(answer.body, "abc");
    EXPECT_EQ(answer.headers, (std::map<std::string, std::string>{{"content-length", "3"}}));
    EXPECT_EQ(client.exchange(request("/\xc3\xa4", "abc")).reason, "OK");
}

TEST_F(HttpTransport, RefusalTellsTheClientThatTheConnectionEnds)
{
    ASSERT_NO_FATAL_FAILURE(start());
    HttpClient client(port_);
    const HttpAnswer answer = client.exchange("POST /refused HTTP/1.1\r\nContent-Length: 100000\r\n\r\nhalf");
    EXPECT_EQ(answer.status, 403);
    EXPECT_EQ(answer.reason, "Forbidden");
    EXPECT_EQ(answer.header("word"), "no");
    EXPECT_EQ(answer.header("connection"), "close");
    EXPECT_EQ(answer.body, "refused");
    EXPECT_TRUE(client.isClosedByPeer());
    EXPECT_EQ(service_.served(), 0);
}

TEST_F(HttpTransport, RequestsThatComeAtOnceAreServedOneAfterTheOther)
{
    ASSERT_NO_FATAL_FAILURE(start());
    HttpClient client(port_);
    std::string bytes = request("/held", "first");
    for (int number = 0; number < 1000; ++number)
        bytes += request("/", std::to_string(number));
    ASSERT_TRUE(client.send(bytes));
    ASSERT_TRUE(waitUntil([&] { return service_.served() == 1; }));
    HttpClient other(port_);
    EXPECT_EQ(other.exchange(request("/", "meanwhile")).body, "meanwhile");
    EXPECT_EQ(service_.served(), 2);
    service_.answerHeld();
    EXPECT_EQ(client.receive().body, "first");
    for (int number = 0; number < 1000; ++number)
        ASSERT_EQ(client.receive().body, std::to_string(number));
}

TEST_F(HttpTransport, AnswerIsWholeForAClientThatTakesItLate)
{
    ASSERT_NO_FATAL_FAILURE(start());
    HttpClient client(port_);
    ASSERT_TRUE(client.send(request("/large", "") + request("/", "next")));
    ASSERT_TRUE(waitUntil([&] { return service_.served() == 1; }));
    HttpClient other(port_);
    EXPECT_EQ(other.exchange(request("/", "meanwhile")).body, "meanwhile");
    EXPECT_EQ(client.receive().body.size(), 20000000U);
    EXPECT_EQ(client.receive().body, "next");
}

TEST_F(HttpTransport, ClientThatDoesNotTakeItsAnswerIsClosed)
{
    limits_.transfer = std::chrono::milliseconds(200);
    ASSERT_NO_FATAL_FAILURE(start());
    HttpClient client(port_);
    ASSERT_TRUE(client.send(request("/large", "")));
    ASSERT_TRUE(waitUntil([&] { return !client.send("x"); }));
    EXPECT_EQ(client.receive().status, 0);
}

TEST_F(HttpTransport, ClientThatPausesWithinAHeadIsClosedWithoutAnAnswer)
{
    limits_.transfer = std::chrono::milliseconds(200);
    ASSERT_NO_FATAL_FAILURE(start());
    HttpClient client(port_);
    ASSERT_TRUE(client.send("POST / HT"));
    EXPECT_TRUE(client.isClosedByPeer());
}

TEST_F(HttpTransport, IdleConnectionsMakeRoomForOthers)
{
    limits_.connections = 2;
    ASSERT_NO_FATAL_FAILURE(start());
    HttpClient first(port_);
    HttpClient second(port_);
    EXPECT_EQ(first.exchange(request("/", "1")).body, "1");
    EXPECT_EQ(second.exchange(request("/", "2")).body, "2");
    HttpClient third(port_);
    EXPECT_EQ(third.exchange(request("/", "3")).body, "3");
    EXPECT_TRUE(first.isClosedByPeer()) << "it has been idle for longest";
    EXPECT_EQ(second.exchange(request("/", "4")).body, "4");
}

TEST_F(HttpTransport, BusyConnectionsMakeRoomWithTheirAnswers)
{
    limits_.connections = 1;
    ASSERT_NO_FATAL_FAILURE(start());
    HttpClient first(port_);
    EXPECT_EQ(first.exchange(request("/", "1")).header("connection"), "");
    HttpClient second(port_);
    ASSERT_TRUE(second.send(request("/", "2")));
    HttpAnswer last;
    ASSERT_TRUE(waitUntil([&] {
        last = first.exchange(request("/", "3"));
        return last.header("connection") == "close";
    }));
    EXPECT_EQ(last.body, "3");
    EXPECT_TRUE(first.isClosedByPeer());
    EXPECT_EQ(second.receive().body, "2");
}

TEST_F(HttpTransport, LargeBodiesWaitForEachOtherAndNobodyForThem)
{
    limits_.largeBodies = 1;
    ASSERT_NO_FATAL_FAILURE(start());
    const std::string body(800000, 'x');
    const std::string bytes = request("/", body);
    HttpClient slow(port_);
    ASSERT_TRUE(slow.send(bytes.substr(0, 400000)));
    HttpClient held(port_);
    ASSERT_TRUE(held.send(request("/held", "")));
    ASSERT_TRUE(waitUntil([&] { return service_.served() == 1; }));

    std::atomic<bool> isAnswered = false;
    std::thread waiting([&] {
        HttpClient client(port_);
        EXPECT_TRUE(client.exchange(bytes).body == body);
        isAnswered = true;
    });
    HttpClient small(port_);
    for (int number = 0; number < 100; ++number)
        EXPECT_EQ(small.exchange(request("/", "small")).body, "small");
    EXPECT_FALSE(isAnswered);
    ASSERT_TRUE(slow.send(bytes.substr(400000)));
    EXPECT_TRUE(slow.receive().body == body);
    waiting.join();
}

TEST_F(HttpTransport, RoomOfALargeBodyThatNeverBecomesWholeIsGivenOn)
{
    limits_.largeBodies = 1;
    limits_.transfer = std::chrono::milliseconds(300);
    ASSERT_NO_FATAL_FAILURE(start());
    const std::string body(800000, 'x');
    HttpClient slow(port_);
    ASSERT_TRUE(slow.send(request("/", body).substr(0, 400000)));
    HttpClient other(port_);
    EXPECT_TRUE(other.exchange(request("/", body)).body == body);
    EXPECT_EQ(slow.receive().body, "fault 4");
    EXPECT_TRUE(slow.isClosedByPeer());
}

TEST_F(HttpTransport, EndsWhenWhatHasComeIsAnswered)
{
    ASSERT_NO_FATAL_FAILURE(start());
    HttpClient idle(port_);
    EXPECT_EQ(idle.exchange(request("/", "1")).body, "1");
    HttpClient client(port_);
    ASSERT_TRUE(client.send(request("/held", "2")));
    ASSERT_TRUE(waitUntil([&] { return service_.served() == 2; }));
    server_->endRun();
    EXPECT_TRUE(idle.isClosedByPeer());
    EXPECT_FALSE(canConnect("127.0.0.1", port_));
    service_.answerHeld();
    const HttpAnswer answer = client.receive();
    EXPECT_EQ(answer.body, "2");
    EXPECT_EQ(answer.header("connection"), "close");
    EXPECT_TRUE(client.isClosedByPeer());
    thread_.join();
}

TEST_F(HttpTransport, EndsThoughItWasToldToBeforeItBegan)
{
    server_ = std::make_unique<Http::HttpServer>(limits_, &service_, &crew_);
    ASSERT_GT(server_->bind(0), 0);
    server_->endRun();
    EXPECT_TRUE(server_->run());
}

#include "httptransportfixture.h"

#include "base/memorytrimmer.h"
#include "support/threadcount.h"
#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <string>
#include <thread>
#include <vector>

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

TEST_F(HttpTransport, ClientsThatTakeNothingMakeRoomForTheAnswersOfOthers)
{
    constexpr std::size_t Answer = 20000000;
    limits_.untakenBytes = 2 * Answer;
    ASSERT_NO_FATAL_FAILURE(start());
    std::vector<std::unique_ptr<HttpClient>> clients;
    for (int served = 1; served <= 4; ++served) {
        clients.push_back(std::make_unique<HttpClient>(port_));
        ASSERT_TRUE(clients.back()->send(request("/large", "")));
        ASSERT_TRUE(waitUntil([&] { return service_.served() == served; }));
    }
    EXPECT_EQ(clients[3]->receive().body.size(), Answer);
    EXPECT_EQ(clients[2]->receive().body.size(), Answer);
    EXPECT_EQ(clients[1]->receive().status, 0) << "the end of its answer is missing";
    EXPECT_EQ(clients[0]->receive().status, 0);
    EXPECT_EQ(clients[2]->exchange(request("/", "next")).body, "next");
}

TEST_F(HttpTransport, AnAnswerBeyondTheLimitIsGivenToAClientThatTakesIt)
{
    limits_.untakenBytes = 1;
    ASSERT_NO_FATAL_FAILURE(start());
    HttpClient client(port_);
    for (int number = 0; number < 3; ++number)
        EXPECT_EQ(client.exchange(request("/large", "")).body.size(), 20000000U);
}

TEST_F(HttpTransport, ClientThatPausesWithinAHeadIsClosedWithoutAnAnswer)
{
    limits_.transfer = std::chrono::milliseconds(200);
    ASSERT_NO_FATAL_FAILURE(start());
    HttpClient client(port_);
    ASSERT_TRUE(client.send("POST / HT"));
    EXPECT_TRUE(client.isClosedByPeer());
}

TEST_F(HttpTransport, ClientThatSendsAHeadByteByByteIsClosed)
{
    limits_.transfer = std::chrono::milliseconds(300);
    ASSERT_NO_FATAL_FAILURE(start());
    HttpClient client(port_);
    ASSERT_TRUE(client.send("POST / HTTP/1.1\r\n"));
    EXPECT_TRUE(waitUntil([&] { return !client.send("a"); }));
    EXPECT_EQ(figures_.responses(400).value(), 0) << "before the limit of a line";
}

TEST_F(HttpTransport, ClientThatSendsABodyByteByByteIsNotWaitedFor)
{
    limits_.transfer = std::chrono::milliseconds(300);
    ASSERT_NO_FATAL_FAILURE(start());
    HttpClient client(port_);
    ASSERT_TRUE(client.send("POST / HTTP/1.1\r\nContent-Length: 1000000\r\n\r\n"));
    EXPECT_TRUE(waitUntil([&] { return !client.send("a") || figures_.responses(400).value() == 1; }));
    EXPECT_EQ(client.receive().body, "fault 4");
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
    limits_.largeBodyBytes = limits_.request.body;
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

/** Their decompressed size is not known in advance. */
TEST_F(HttpTransport, PackedBodiesTakeTheRoomOfTheLargest)
{
    limits_.largeBodyBytes = limits_.request.body;
    ASSERT_NO_FATAL_FAILURE(start());
    HttpClient held(port_);
    ASSERT_TRUE(held.send(request("/held", "packed", "Content-Encoding: br\r\n")));
    ASSERT_TRUE(waitUntil([&] { return service_.served() == 1; }));
    HttpClient packed(port_);
    ASSERT_TRUE(packed.send(request("/", "second", "Content-Encoding: gzip\r\n")));
    HttpClient large(port_);
    ASSERT_TRUE(large.send(request("/", std::string(100000, 'x'))));

    HttpClient small(port_);
    for (int number = 0; number < 100; ++number)
        EXPECT_EQ(small.exchange(request("/", "small", "Content-Encoding: identity\r\n")).body, "small");
    EXPECT_EQ(service_.served(), 101);
    service_.answerHeld();
    EXPECT_EQ(held.receive().body, "packed");
    EXPECT_EQ(packed.receive().body, "second");
    EXPECT_EQ(large.receive().body.size(), 100000U);
}

TEST_F(HttpTransport, LargeBodiesAreServedInTheirOrderWhateverRoomTheyNeed)
{
    limits_.largeBodyBytes = limits_.request.body;
    ASSERT_NO_FATAL_FAILURE(start());
    HttpClient held(port_);
    ASSERT_TRUE(held.send(request("/held", std::string(600000, 'x'))));
    ASSERT_TRUE(waitUntil([&] { return service_.served() == 1; }));
    auto larger = std::make_unique<HttpClient>(port_);
    ASSERT_TRUE(larger->send(request("/", std::string(500000, 'x')).substr(0, 400000))); // the rest never comes
    ASSERT_TRUE(waitUntil([&] { return figures_.receivedBytes.value() > 600000 + 66000; }));
    HttpClient later(port_);
    ASSERT_TRUE(later.send(request("/", std::string(300000, 'x')))); // there is room for it beside the first
    HttpClient small(port_);
    for (int number = 0; number < 100; ++number)
        EXPECT_EQ(small.exchange(request("/", "small")).body, "small");
    EXPECT_EQ(service_.served(), 101);
    service_.answerHeld();
    EXPECT_EQ(held.receive().body.size(), 600000U);
    EXPECT_EQ(later.receive().body.size(), 300000U);
}

/** A thread waits for some seconds, for what else is freed, and gives the memory back. */
TEST_F(HttpTransport, MemoryOfALargeBodyIsReturned)
{
    limits_.request.body = 2 * Base::MemoryTrimmer::LargeBytes;
    limits_.largeBodyBytes = limits_.request.body;
    ASSERT_NO_FATAL_FAILURE(start());
    HttpClient client(port_);
    EXPECT_EQ(client.exchange(request("/", std::string(Base::MemoryTrimmer::LargeBytes, 'x'))).status, 200);
    EXPECT_EQ(client.exchange(request("/", "small")).status, 200);
    const std::size_t before = threadCount();
    EXPECT_EQ(client.exchange(request("/", std::string(Base::MemoryTrimmer::LargeBytes + 1, 'x'))).status, 200);
    EXPECT_TRUE(waitUntil([&] { return threadCount() == before + 1; }));
}

TEST_F(HttpTransport, MemoryOfALargeResponseIsReturned)
{
    ASSERT_NO_FATAL_FAILURE(start());
    HttpClient client(port_);
    EXPECT_EQ(client.exchange(request("/", "small")).status, 200);
    const std::size_t before = threadCount();
    EXPECT_EQ(client.exchange(request("/large", "")).body.size(), 20000000U);
    EXPECT_TRUE(waitUntil([&] { return threadCount() == before + 1; }));
}

TEST_F(HttpTransport, RoomOfALargeBodyIsFreeBeforeItsAnswerIsTaken)
{
    limits_.largeBodyBytes = limits_.request.body;
    ASSERT_NO_FATAL_FAILURE(start());
    const std::string body(800000, 'x');
    HttpClient slow(port_);
    ASSERT_TRUE(slow.send(request("/large", body)));
    HttpClient other(port_);
    EXPECT_TRUE(other.exchange(request("/", body)).body == body);
    EXPECT_EQ(slow.receive().body.size(), 20000000U);
}

TEST_F(HttpTransport, RoomOfALargeBodyThatNeverBecomesWholeIsGivenOn)
{
    limits_.largeBodyBytes = limits_.request.body;
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

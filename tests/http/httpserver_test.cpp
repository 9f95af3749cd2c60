#include "httptransportfixture.h"

#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <poll.h>

#include <map>
#include <memory>
#include <string>

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

TEST_F(HttpTransport, RefusalTellsTheClientThatTheConnectionCloses)
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

TEST_F(HttpTransport, RequestsThatArriveTogetherAreServedOneAfterAnother)
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

TEST_F(HttpTransport, EndsWhenARequestIsAnsweredThatHadJustBeenReceived)
{
    service_.onClient = [this](int socket) {
        pollfd events{socket, POLLIN, 0};
        ASSERT_EQ(poll(&events, 1, 60000), 1);
        server_->endRun(); // what it does comes after the read of the request, and before its completion
    };
    ASSERT_NO_FATAL_FAILURE(start());
    HttpClient client(port_);
    ASSERT_TRUE(client.send(request("/", "1")));
    const HttpAnswer answer = client.receive();
    EXPECT_EQ(answer.body, "1");
    EXPECT_EQ(answer.header("connection"), "close");
    EXPECT_TRUE(client.isClosedByPeer());
    thread_.join();
}

TEST_F(HttpTransport, EndsThoughItWasToldToBeforeItBegan)
{
    server_ = std::make_unique<Http::HttpServer>(limits_, &service_, &crew_, &figures_);
    ASSERT_GT(server_->bind(0), 0);
    server_->endRun();
    EXPECT_TRUE(server_->run());
}

#include "peer.h"

#include <gtest/gtest.h>

#include <future>

#include <poll.h>
#include <sys/socket.h>

TEST(WireConnectionExchange, SendsTheFrameAndReturnsTheReplysText)
{
    QByteArray received;
    QByteArray text;
    {
        const Peer peer([&](int socket) {
            received = readExactly(socket, Request.size());
            writeAll(socket, reply("{\"__rc\":200}"));
            drain(socket);
        });
        Client::WireConnection connection = connectedTo(peer);
        ASSERT_TRUE(connection.exchange("Op.Name", "{}", &text)) << connection.error().toStdString();
        EXPECT_TRUE(connection.isOpen());
    }
    EXPECT_EQ(text, "{\"__rc\":200}");
    EXPECT_EQ(received, Request);
}

TEST(WireConnectionExchange, CarriesOneExchangeAfterAnother)
{
    const Peer peer([](int socket) {
        for (const char* text : {"first", "second", ""}) {
            readExactly(socket, Request.size());
            writeAll(socket, reply(text));
        }
        drain(socket);
    });
    Client::WireConnection connection = connectedTo(peer);
    for (const char* expected : {"first", "second", ""}) {
        QByteArray text = "before";
        ASSERT_TRUE(connection.exchange("Op.Name", "{}", &text)) << connection.error().toStdString();
        EXPECT_EQ(text, expected);
    }
}

TEST(WireConnectionExchange, LargeBodiesPassInBothDirections)
{
    const QByteArray body(3 * 1024 * 1024 + 7, 'b');
    const QByteArray answer(5 * 1024 * 1024 + 3, 'a');
    bool whole = false;
    QByteArray text;
    {
        const Peer peer([&](int socket) {
            const QByteArray request = Framing::frameRequest("Op", body);
            whole = readExactly(socket, request.size()) == request;
            writeAll(socket, reply(answer));
        });
        Client::WireConnection connection = connectedTo(peer);
        ASSERT_TRUE(connection.exchange("Op", body, &text)) << connection.error().toStdString();
    }
    EXPECT_TRUE(whole);
    EXPECT_EQ(text, answer);
}

TEST(WireConnectionExchange, EndBeforeTheWholeReplyFailsAndCloses)
{
    const QByteArray whole = reply("0123456789");
    for (const qsizetype size : {0, 1, 3, 4, 5, 13}) {
        const Peer peer([&](int socket) {
            readExactly(socket, Request.size());
            writeAll(socket, whole.left(size));
        });
        Client::WireConnection connection = connectedTo(peer);
        QByteArray text = "before";
        EXPECT_FALSE(connection.exchange("Op.Name", "{}", &text)) << size;
        EXPECT_EQ(connection.error().toStdString(), "the server closed the connection") << size;
        EXPECT_FALSE(connection.isOpen()) << size;
        EXPECT_EQ(text, "before") << size;
    }
}

TEST(WireConnectionExchange, LateReplyIsNotMistakenForTheNextRequests)
{
    std::promise<void> timedOut;
    const Peer peer([&](int socket) {
        readExactly(socket, Request.size());
        timedOut.get_future().wait();
        writeAll(socket, reply("late"));
    });
    Client::WireConnection connection = connectedTo(peer);
    connection.setReceiveTimeout(20);
    QByteArray text = "before";
    EXPECT_FALSE(connection.exchange("Op.Name", "{}", &text));
    EXPECT_EQ(connection.error().toStdString(), "no bytes within 20 ms");
    EXPECT_FALSE(connection.isOpen());
    EXPECT_EQ(text, "before");
    timedOut.set_value();
}

TEST(WireConnectionExchange, GivesUpOnAPeerThatTakesNothing)
{
    std::promise<void> timedOut;
    const Peer peer([&](int) { timedOut.get_future().wait(); });
    Client::WireConnection connection = connectedTo(peer);
    connection.setReceiveTimeout(20);
    QByteArray text = "before";
    EXPECT_FALSE(connection.exchange("Op.Name", QByteArray(64 * 1024 * 1024, ' '), &text));
    EXPECT_EQ(connection.error().toStdString(), "no bytes taken within 20 ms");
    EXPECT_FALSE(connection.isOpen());
    EXPECT_EQ(text, "before");
    timedOut.set_value();
}

TEST(WireConnectionReceiveReply, TimeOutLeavesTheConnectionForALaterTry)
{
    std::promise<void> timedOut;
    const Peer peer([&](int socket) {
        timedOut.get_future().wait();
        writeAll(socket, reply("after all"));
    });
    Client::WireConnection connection = connectedTo(peer);
    connection.setReceiveTimeout(20);
    QByteArray text = "before";
    EXPECT_FALSE(connection.receiveReply(&text));
    EXPECT_TRUE(connection.isOpen());
    EXPECT_TRUE(connection.hasTimedOut());
    EXPECT_EQ(text, "before");
    timedOut.set_value();
    connection.setReceiveTimeout(0);
    ASSERT_TRUE(connection.receiveReply(&text)) << connection.error().toStdString();
    EXPECT_EQ(text, "after all");
}

TEST(WireConnectionReceiveReply, ALostConnectionIsNoTimeOutEvenAfterOne)
{
    std::promise<void> timedOut;
    const Peer peer([&](int socket) {
        timedOut.get_future().wait();
        writeAll(socket, "xx");
    });
    Client::WireConnection connection = connectedTo(peer);
    connection.setReceiveTimeout(20);
    QByteArray text = "before";
    EXPECT_FALSE(connection.receiveReply(&text));
    EXPECT_TRUE(connection.hasTimedOut());
    connection.setReceiveTimeout(0);
    timedOut.set_value();
    EXPECT_FALSE(connection.receiveReply(&text));
    EXPECT_EQ(connection.error().toStdString(), "the server closed the connection");
    EXPECT_FALSE(connection.hasTimedOut());
    EXPECT_EQ(text, "before");
}

TEST(WireConnectionReceiveReply, GreatLengthAllocatesOnlyWhatComes)
{
    const Peer peer([](int socket) {
        writeAll(socket, "\xff\xff\xff\xff"
                         "abc");
    });
    Client::WireConnection connection = connectedTo(peer);
    QByteArray text = "before";
    EXPECT_FALSE(connection.receiveReply(&text));
    EXPECT_EQ(connection.error().toStdString(), "the server closed the connection");
    EXPECT_EQ(text, "before");
}

TEST(WireConnectionSend, ToAPeerThatIsGoneFailsWithoutASignal)
{
    const Peer peer([](int socket) {
        const linger reset{1, 0}; // closing it sends a reset
        setsockopt(socket, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    });
    Client::WireConnection connection = connectedTo(peer);
    pollfd ended{connection.socketDescriptor(), POLLIN, 0};
    ASSERT_EQ(poll(&ended, 1, 60000), 1);
    EXPECT_FALSE(connection.send("x"));
    EXPECT_EQ(connection.error().toStdString(), "send: Connection reset by peer");
    EXPECT_FALSE(connection.send("x")); // this would raise SIGPIPE
    EXPECT_EQ(connection.error().toStdString(), "send: Broken pipe");
    EXPECT_TRUE(connection.isOpen());
}

TEST(WireConnectionReceiveReply, TakesOneReplyOfSeveralThatArriveTogether)
{
    const QByteArray larger(10'000, 'l'); // than what is received at first
    const Peer peer([&](int socket) {
        writeAll(socket, reply("first") + reply("") + reply(larger) + reply("last"));
        drain(socket);
    });
    Client::WireConnection connection = connectedTo(peer);
    for (const QByteArray& expected : {QByteArray("first"), QByteArray(), larger}) {
        QByteArray text = "before";
        ASSERT_TRUE(connection.receiveReply(&text)) << connection.error().toStdString();
        EXPECT_EQ(text, expected);
    }
    QByteArray text;
    ASSERT_TRUE(connection.receiveReply(&text)) << connection.error().toStdString();
    EXPECT_EQ(text, "last");
    EXPECT_FALSE(connection.hasSurplus());
    connection.close();
    EXPECT_FALSE(connection.hasSurplus());
}

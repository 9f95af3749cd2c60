#include "servedconnectionfixture.h"

#include "netsupport.h"
#include "protocol/framing.h"
#include "support/expectedreplies.h"
#include "support/threadcount.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

using testing::ElementsAre;

TEST_F(ServedConnection, AnUnknownOperationIsAnswered)
{
    EXPECT_TRUE(exchangeWorks(client_));
    EXPECT_THAT(log_.lines(), ElementsAre("[ERROR] bdbrequest 120 Unknown request opcode is DynamoDB_20111205.Nothing",
                                          "[ERROR] bdbioworker 628 composeReply Error 2"));
}

TEST_F(ServedConnection, CarriesAnyNumberOfExchanges)
{
    for (int i = 0; i < 200; ++i)
        ASSERT_TRUE(exchangeWorks(client_, bodyOfSize(8 + i * 37))) << i;
}

TEST_F(ServedConnection, TheReplyIsItsLengthAndItsText)
{
    ASSERT_TRUE(client_.send(Framing::frameRequest(UnknownOperation, "{}")));
    const QByteArray text = R"({"__rc":400,"__rcstr":"Bad Request","__type":"InternalServerError",)"
                            R"("message":"The server encountered an internal error."})";
    QByteArray expected(4, '\0');
    Framing::writeLength(static_cast<std::uint32_t>(text.size()), expected.data());
    expected += text;
    EXPECT_EQ(readBytes(client_.socketDescriptor(), expected.size()), expected);
    client_.close();
}

TEST_F(ServedConnection, BodiesOfAllSizesAroundAPieceArriveOnce)
{
    const qsizetype header = Framing::frameRequest(UnknownOperation, {}).size();
    for (const qsizetype size : {4096 - header - 1, 4096 - header, 4096 - header + 1, qsizetype(4096), qsizetype(8191),
                                 qsizetype(8192), qsizetype(65536), qsizetype(1000003)}) {
        ASSERT_TRUE(exchangeWorks(client_, bodyOfSize(size))) << size;
    }
    EXPECT_EQ(log_.count("Unknown request opcode is "), 8u);
}

TEST_F(ServedConnection, AHugeBodyArrives)
{
    EXPECT_TRUE(exchangeWorks(client_, bodyOfSize(16 * 1024 * 1024)));
    EXPECT_TRUE(exchangeWorks(client_)); // the connection stays usable
}

TEST_F(ServedConnection, ABodyMayComeByteByByte)
{
    ASSERT_TRUE(client_.send(headerFor(UnknownOperation, 300)));
    const QByteArray body = bodyOfSize(300);
    for (qsizetype at = 0; at < body.size(); ++at)
        ASSERT_TRUE(client_.send(body.mid(at, 1)));
    EXPECT_EQ(receive(), internalErrorReply());
    EXPECT_EQ(log_.count("Unknown request opcode is "), 1u);
}

TEST_F(ServedConnection, ASlowSenderHoldsNoThread)
{
    // More connections with half a request than there are threads of any kind.
    std::vector<Client::WireConnection> slow(12);
    const QByteArray body = bodyOfSize(20000);
    for (Client::WireConnection& connection : slow) {
        ASSERT_TRUE(server_.connectTo(&connection));
        ASSERT_TRUE(connection.send(headerFor(UnknownOperation, 20000) + body.left(10000)));
    }
    EXPECT_TRUE(exchangeWorks(client_));
    for (Client::WireConnection& connection : slow) {
        QByteArray reply;
        ASSERT_TRUE(connection.send(body.mid(10000)));
        ASSERT_TRUE(connection.receiveReply(&reply)) << connection.error().toStdString();
        EXPECT_EQ(parseReply(reply), internalErrorReply());
    }
}

TEST_F(ServedConnection, ANameOf64BytesReachesTheDispatcher)
{
    const QByteArray name(64, 'n');
    ASSERT_TRUE(client_.send(Framing::frameRequest(name, "{}")));
    EXPECT_EQ(receive(), internalErrorReply());
    EXPECT_TRUE(log_.contains("Unknown request opcode is " + name.toStdString() + "\n"));
}

TEST_F(ServedConnection, ARequestAfterAFullChunkIsTheNextOne)
{
    const QByteArray empty = Framing::frameRequest(UnknownOperation, {});
    const QByteArray first = Framing::frameRequest(UnknownOperation, bodyOfSize(4096 - empty.size()));
    ASSERT_EQ(first.size(), 4096);
    ASSERT_TRUE(client_.send(first + first + Framing::frameRequest(UnknownOperation, "{}")));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(receive(), internalErrorReply()) << i;
}

TEST_F(ServedConnection, AClientThatHasFinishedSendingStillGetsItsReply)
{
    ASSERT_TRUE(client_.send(Framing::frameRequest(UnknownOperation, bodyOfSize(100000))));
    ASSERT_EQ(shutdown(client_.socketDescriptor(), SHUT_WR), 0);
    EXPECT_EQ(receive(), internalErrorReply());
    EXPECT_TRUE(endsWithoutData(client_.socketDescriptor()));
}

TEST_F(ServedConnection, ManyIdleConnectionsNeedNoThreads)
{
    std::vector<Client::WireConnection> idle(300);
    for (Client::WireConnection& connection : idle) {
        ASSERT_TRUE(server_.connectTo(&connection));
        ASSERT_TRUE(exchangeWorks(connection));
    }
    EXPECT_LE(threadCount(), initialThreadCount() + 1 + 2 + 4); // accept thread, workers, pool
    for (Client::WireConnection& connection : idle)
        ASSERT_TRUE(exchangeWorks(connection));
}

TEST_F(ServedConnection, ManyConcurrentConnectionsAreAllServed)
{
    std::atomic<int> good{0};
    std::vector<std::thread> clients;
    for (int id = 0; id < 16; ++id) {
        clients.emplace_back([&, id] {
            Client::WireConnection connection;
            if (!server_.connectTo(&connection))
                return;
            for (int i = 0; i < 50; ++i)
                good += exchangeWorks(connection, bodyOfSize(8 + 997 * ((id + i) % 13))) ? 1 : 0;
        });
    }
    for (std::thread& client : clients)
        client.join();
    EXPECT_EQ(good, 16 * 50);
}

#include "net/bdbserver.h"

#include "netsupport.h"
#include "protocol/framing.h"
#include "support/logcapture.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <memory>
#include <thread>
#include <vector>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const QByteArray unknownOperation = "DynamoDB_20111205.Nothing";

class ServedConnection : public testing::Test {
protected:
    void SetUp() override
    {
        ASSERT_EQ(server_.listenAnywhere(), 0);
        ASSERT_TRUE(server_.connectTo(&client_)) << client_.error().toStdString();
    }

    QVariantMap receive()
    {
        QByteArray reply;
        return client_.receiveReply(&reply) ? parseReply(reply) : QVariantMap{{"error", client_.error()}};
    }

    LogCapture log_{LogWarn};
    TestServer server_{2, 4};
    Client::WireConnection client_;
};

} // namespace

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
    ASSERT_TRUE(client_.send(Framing::frameRequest(unknownOperation, "{}")));
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
    const qsizetype header = Framing::frameRequest(unknownOperation, {}).size();
    for (const qsizetype size : {4096 - header - 1, 4096 - header, 4096 - header + 1, qsizetype(4096), qsizetype(8191),
                                 qsizetype(8192), qsizetype(65536), qsizetype(1000003)}) {
        ASSERT_TRUE(exchangeWorks(client_, bodyOfSize(size))) << size;
    }
    EXPECT_EQ(log_.count("Unknown request opcode is "), 8u);
}

TEST_F(ServedConnection, AHugeBodyArrives)
{
    EXPECT_TRUE(exchangeWorks(client_, bodyOfSize(16 * 1024 * 1024)));
    EXPECT_TRUE(exchangeWorks(client_)); // and the connection goes on
}

TEST_F(ServedConnection, ABodyMayComeByteByByte)
{
    ASSERT_TRUE(client_.send(headerFor(unknownOperation, 300)));
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
        ASSERT_TRUE(connection.send(headerFor(unknownOperation, 20000) + body.left(10000)));
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

TEST_F(ServedConnection, MalformedHeadersCloseItWithoutALine)
{
    const QByteArray frame = Framing::frameRequest(unknownOperation, "{}");
    for (const QByteArray& bytes : {Framing::frameRequest(QByteArray(65, 'n'), "{}"), QByteArray("GET / HTTP/1.0\r\n"),
                                    frame.left(3), frame.left(4), frame.left(frame.size() - 3)}) {
        SCOPED_TRACE(testing::PrintToString(bytes.toStdString()));
        Client::WireConnection connection;
        ASSERT_TRUE(server_.connectTo(&connection));
        ASSERT_TRUE(connection.send(bytes));
        EXPECT_TRUE(endsWithoutData(connection.socketDescriptor()));
    }
    EXPECT_THAT(log_.lines(), IsEmpty());
    EXPECT_TRUE(exchangeWorks(client_));
}

TEST_F(ServedConnection, BodyLengthZeroIsARequestWithoutJson)
{
    ASSERT_TRUE(client_.send(headerFor(unknownOperation, 0)));
    EXPECT_TRUE(endsWithoutData(client_.socketDescriptor()));
    EXPECT_THAT(log_.lines(), ElementsAre("[ERROR] bdbioworker 579 parser error"));
}

TEST_F(ServedConnection, ABodyThatIsNoJsonClosesItWithoutAReply)
{
    ASSERT_TRUE(client_.send(Framing::frameRequest(unknownOperation, "{\"a\":")));
    EXPECT_TRUE(endsWithoutData(client_.socketDescriptor()));
    EXPECT_THAT(log_.lines(), ElementsAre("[ERROR] bdbioworker 579 parser error"));
}

TEST_F(ServedConnection, TwoRequestsInOnePieceCloseIt)
{
    const QByteArray frame = Framing::frameRequest(unknownOperation, "{}");
    ASSERT_TRUE(client_.send(frame + frame));
    EXPECT_TRUE(endsWithoutData(client_.socketDescriptor()));
    EXPECT_THAT(log_.lines(), ElementsAre("[ERROR] bdbioworker 579 parser error"));
}

TEST_F(ServedConnection, ARequestBehindAFullPieceIsTheNextOne)
{
    const QByteArray empty = Framing::frameRequest(unknownOperation, {});
    const QByteArray first = Framing::frameRequest(unknownOperation, bodyOfSize(4096 - empty.size()));
    ASSERT_EQ(first.size(), 4096);
    ASSERT_TRUE(client_.send(first + first + Framing::frameRequest(unknownOperation, "{}")));
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(receive(), internalErrorReply()) << i;
}

TEST_F(ServedConnection, AClientThatHasFinishedSendingStillGetsItsReply)
{
    ASSERT_TRUE(client_.send(Framing::frameRequest(unknownOperation, bodyOfSize(100000))));
    ASSERT_EQ(shutdown(client_.socketDescriptor(), SHUT_WR), 0);
    EXPECT_EQ(receive(), internalErrorReply());
    EXPECT_TRUE(endsWithoutData(client_.socketDescriptor()));
}

TEST_F(ServedConnection, HalfARequestAndTheEndOfTheStreamCloseIt)
{
    ASSERT_TRUE(client_.send(headerFor(unknownOperation, 100) + "{"));
    ASSERT_EQ(shutdown(client_.socketDescriptor(), SHUT_WR), 0);
    EXPECT_TRUE(endsWithoutData(client_.socketDescriptor()));
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ServedConnection, ResetsInAnyStateHurtNobodyElse)
{
    ASSERT_TRUE(exchangeWorks(client_));
    const std::size_t before = openDescriptors().size();
    const QByteArray whole = Framing::frameRequest(unknownOperation, bodyOfSize(50000));
    for (const QByteArray& sent : {QByteArray(), whole.left(30), whole.left(20000), whole}) {
        for (int i = 0; i < 10; ++i) {
            Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
            sockaddr_in address{};
            address.sin_family = AF_INET;
            address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            address.sin_port = htons(static_cast<std::uint16_t>(server_.realPort()));
            ASSERT_EQ(connect(socket.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
            if (!sent.isEmpty())
                (void)::send(socket.get(), sent.constData(), std::size_t(sent.size()), MSG_NOSIGNAL);
            resetConnection(socket);
        }
    }
    EXPECT_TRUE(exchangeWorks(client_));
    EXPECT_TRUE(waitUntil([&] { return openDescriptors().size() == before; })); // all their sockets were closed
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

TEST_F(ServedConnection, ManyConnectionsAtOnceAreAllServed)
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

TEST(BDBServer, StopsWithoutHavingListened)
{
    const std::set<int> before = openDescriptors();
    ASSERT_TRUE(onlyThisThreadIsLeft());
    {
        TestServer server(3, 3);
        EXPECT_EQ(threadCount(), initialThreadCount() + 3);
    }
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_TRUE(onlyThisThreadIsLeft());
}

TEST(BDBServer, EndsWithConnectionsInEveryState)
{
    const QByteArray whole = Framing::frameRequest(unknownOperation, bodyOfSize(50000));
    for (int round = 0; round < 5; ++round) {
        const std::set<int> before = openDescriptors();
        auto server = std::make_unique<TestServer>();
        ASSERT_EQ(server->listenAnywhere(), 0);
        std::vector<Client::WireConnection> clients(9);
        for (std::size_t i = 0; i < clients.size(); ++i) {
            ASSERT_TRUE(server->connectTo(&clients[i]));
            if (i % 3 == 0) {
                ASSERT_TRUE(exchangeWorks(clients[i]));
            } else {
                ASSERT_TRUE(clients[i].send(i % 3 == 1 ? whole.left(20000) : whole));
            }
        }
        server.reset();
        for (Client::WireConnection& client : clients) {
            QByteArray reply;
            if (client.receiveReply(&reply)) { // one that was running has its answer
                EXPECT_EQ(parseReply(reply), internalErrorReply());
            }
            EXPECT_TRUE(endsWithoutData(client.socketDescriptor()));
            client.close();
        }
        EXPECT_EQ(openDescriptors(), before);
    }
}

TEST(BDBServer, ServersOfOneProcessDoNotMeet)
{
    TestServer first(1, 1);
    ASSERT_EQ(first.listenAnywhere(), 0);
    Client::WireConnection connection;
    ASSERT_TRUE(first.connectTo(&connection));
    {
        TestServer second(1, 1);
        ASSERT_EQ(second.listenAnywhere(), 0);
        Client::WireConnection other;
        ASSERT_TRUE(second.connectTo(&other));
        EXPECT_TRUE(exchangeWorks(other));
        EXPECT_TRUE(exchangeWorks(connection));
    }
    EXPECT_TRUE(exchangeWorks(connection));
}

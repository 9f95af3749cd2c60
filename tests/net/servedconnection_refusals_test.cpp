// Connections that are closed: malformed requests, and clients that go away.
#include "servedconnectionfixture.h"

#include "netsupport.h"
#include "protocol/framing.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(ServedConnection, MalformedHeadersCloseItWithoutALine)
{
    const QByteArray frame = Framing::frameRequest(UnknownOperation, "{}");
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
    ASSERT_TRUE(client_.send(headerFor(UnknownOperation, 0)));
    EXPECT_TRUE(endsWithoutData(client_.socketDescriptor()));
    EXPECT_THAT(log_.lines(), ElementsAre("[ERROR] bdbioworker 579 parser error"));
}

TEST_F(ServedConnection, ABodyThatIsNoJsonClosesItWithoutAReply)
{
    ASSERT_TRUE(client_.send(Framing::frameRequest(UnknownOperation, "{\"a\":")));
    EXPECT_TRUE(endsWithoutData(client_.socketDescriptor()));
    EXPECT_THAT(log_.lines(), ElementsAre("[ERROR] bdbioworker 579 parser error"));
}

TEST_F(ServedConnection, TwoRequestsInOnePieceCloseIt)
{
    const QByteArray frame = Framing::frameRequest(UnknownOperation, "{}");
    ASSERT_TRUE(client_.send(frame + frame));
    EXPECT_TRUE(endsWithoutData(client_.socketDescriptor()));
    EXPECT_THAT(log_.lines(), ElementsAre("[ERROR] bdbioworker 579 parser error"));
}

TEST_F(ServedConnection, HalfARequestAndTheEndOfTheStreamCloseIt)
{
    ASSERT_TRUE(client_.send(headerFor(UnknownOperation, 100) + "{"));
    ASSERT_EQ(shutdown(client_.socketDescriptor(), SHUT_WR), 0);
    EXPECT_TRUE(endsWithoutData(client_.socketDescriptor()));
    EXPECT_THAT(log_.lines(), IsEmpty());
}

TEST_F(ServedConnection, ResetsInAnyStateHurtNobodyElse)
{
    ASSERT_TRUE(exchangeWorks(client_));
    const std::size_t before = openDescriptors().size();
    const QByteArray whole = Framing::frameRequest(UnknownOperation, bodyOfSize(50000));
    for (const QByteArray& sent : {QByteArray(), whole.left(30), whole.left(20000), whole}) {
        for (int i = 0; i < 10; ++i) {
            Base::Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
            sockaddr_in address{};
            address.sin_family = AF_INET;
            address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
            address.sin_port = htons(static_cast<std::uint16_t>(server_.realPort()));
            ASSERT_EQ(connect(socket.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
            if (!sent.isEmpty())
                (void)::send(socket.number(), sent.constData(), std::size_t(sent.size()), MSG_NOSIGNAL);
            resetConnection(socket);
        }
    }
    EXPECT_TRUE(exchangeWorks(client_));
    EXPECT_TRUE(waitUntil([&] { return openDescriptors().size() == before; })); // all their sockets were closed
}

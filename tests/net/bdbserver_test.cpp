// How a server ends, and several servers in one process.
#include "net/bdbserver.h"

#include "netsupport.h"
#include "protocol/framing.h"
#include "requests.h"
#include "support/expectedreplies.h"
#include "support/threadcount.h"
#include "testserver.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <memory>
#include <set>
#include <vector>

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
    const QByteArray whole = Framing::frameRequest(UnknownOperation, bodyOfSize(50000));
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
            if (client.receiveReply(&reply)) { // its request was running already
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

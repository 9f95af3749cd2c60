#include "peer.h"

#include <gtest/gtest.h>

#include <future>

#include <sys/socket.h>

namespace {

using namespace std::string_literals;

} // namespace

TEST(WireConnectionOpen, RefusesWhatIsNoDottedAddress)
{
    for (const char* host : {"", "localhost", "127.0.0", "127.0.0.1 ", "::1", "256.0.0.1"}) {
        Client::WireConnection connection;
        EXPECT_FALSE(connection.open(host, 4567)) << host;
        EXPECT_FALSE(connection.isOpen()) << host;
        EXPECT_EQ(connection.error().toStdString(), "\""s + host + "\" is not a dotted IPv4 address");
    }
}

TEST(WireConnectionOpen, RefusesWhatIsNoPort)
{
    for (const int port : {-1, 0, 65536, 70000}) {
        Client::WireConnection connection;
        EXPECT_FALSE(connection.open("127.0.0.1", port)) << port;
        EXPECT_FALSE(connection.isOpen()) << port;
        EXPECT_EQ(connection.error().toStdString(), std::to_string(port) + " is not a port number");
    }
}

TEST(WireConnectionOpen, ReportsThatNobodyListens)
{
    const HeldPort nobodyListens;
    for (const int limit : {0, 60000}) {
        Client::WireConnection connection;
        connection.setConnectTimeout(limit);
        EXPECT_FALSE(connection.open("127.0.0.1", nobodyListens.number())) << limit;
        EXPECT_FALSE(connection.isOpen()) << limit;
        EXPECT_EQ(connection.error().toStdString(), "connect: Connection refused") << limit;
    }
}

TEST(WireConnectionOpen, GivesUpOnAPeerThatDoesNotAnswer)
{
    // Nobody accepts, so a queue for one connection has no room for a second one, whose packets the system drops.
    const HeldPort port;
    ASSERT_EQ(listen(port.descriptor(), 0), 0);
    Client::WireConnection first;
    ASSERT_TRUE(first.open("127.0.0.1", port.number())) << first.error().toStdString();

    Client::WireConnection second;
    second.setConnectTimeout(20);
    EXPECT_FALSE(second.open("127.0.0.1", port.number()));
    EXPECT_EQ(second.error().toStdString(), "no connection within 20 ms");
    EXPECT_FALSE(second.isOpen());
}

TEST(WireConnectionOpen, ALimitOfItsOwnLeavesTheExchangesAsTheyAre)
{
    const Peer peer([](int socket) {
        // The reply comes late and in pieces: a non-blocking socket would fail.
        readExactly(socket, Request.size());
        for (const char byte : reply("in pieces"))
            writeAll(socket, QByteArray(1, byte));
    });
    Client::WireConnection connection;
    connection.setConnectTimeout(60000);
    ASSERT_TRUE(connection.open("127.0.0.1", peer.port())) << connection.error().toStdString();
    QByteArray text;
    ASSERT_TRUE(connection.exchange("Op.Name", "{}", &text)) << connection.error().toStdString();
    EXPECT_EQ(text, "in pieces");
}

TEST(WireConnectionOpen, ReplacesTheConnectionThereWas)
{
    std::promise<void> firstEnded;
    const Peer first([&](int socket) {
        drain(socket);
        firstEnded.set_value();
    });
    const Peer second([](int socket) {
        readExactly(socket, Request.size());
        writeAll(socket, reply("second"));
    });
    Client::WireConnection connection = connectedTo(first);
    ASSERT_TRUE(connection.open("127.0.0.1", second.port()));
    firstEnded.get_future().wait();
    QByteArray text;
    ASSERT_TRUE(connection.exchange("Op.Name", "{}", &text)) << connection.error().toStdString();
    EXPECT_EQ(text, "second");
}

TEST(WireConnection, StartsClosedAndFailsWithoutOpening)
{
    Client::WireConnection connection;
    EXPECT_FALSE(connection.isOpen());
    EXPECT_EQ(connection.socketDescriptor(), -1);
    QByteArray text = "before";
    EXPECT_FALSE(connection.exchange("Op", "{}", &text));
    EXPECT_EQ(connection.error().toStdString(), "send: Bad file descriptor");
    EXPECT_EQ(text, "before");
}

TEST(WireConnection, MovingLeavesTheSourceClosed)
{
    const Peer peer(drain);
    Client::WireConnection source = connectedTo(peer);
    const int descriptor = source.socketDescriptor();
    Client::WireConnection target(std::move(source));
    EXPECT_EQ(source.socketDescriptor(), -1); // NOLINT: the state of a moved-from connection is under test
    EXPECT_EQ(target.socketDescriptor(), descriptor);
    Client::WireConnection assigned;
    assigned = std::move(target);
    EXPECT_FALSE(target.isOpen()); // NOLINT
    EXPECT_EQ(assigned.socketDescriptor(), descriptor);
}

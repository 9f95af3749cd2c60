#include "libraryfixture.h"
#include "support/heldport.h"

#include <sys/socket.h>
#include <unistd.h>

#include <thread>

using namespace Quorva;

namespace {

/** A port of 127.0.0.1 on which nobody accepts: the system queues `queue` + 1 connections and drops the others. */
class SilentPort {
public:
    explicit SilentPort(int queue)
    {
        port_.listen(queue);
        server_.port = port_.number();
    }

    Server server(std::chrono::milliseconds connectLimit, std::chrono::milliseconds receiveLimit) const
    {
        Server server = server_;
        server.connectLimit = connectLimit;
        server.receiveLimit = receiveLimit;
        return server;
    }

    /** Answers any request on the next connection with these bytes, and closes it. */
    void answerOne(const QByteArray& bytes) const
    {
        const int connection = accept(port_.descriptor(), nullptr, nullptr);
        char request[4096];
        EXPECT_GT(recv(connection, request, sizeof request, 0), 0);
        EXPECT_EQ(send(connection, bytes.constData(), static_cast<size_t>(bytes.size()), MSG_NOSIGNAL), bytes.size());
        close(connection);
    }

private:
    HeldPort port_;
    Server server_;
};

class LibraryConnection : public LibraryTest {};

using std::chrono::milliseconds;
using std::chrono::seconds;

} // namespace

TEST(LibraryConnectionOpen, DefaultsToTheAddressOfAServerWithoutOptions)
{
    const Server server;
    EXPECT_EQ(server.host, "127.0.0.1");
    EXPECT_EQ(server.port, 4567);
}

TEST(LibraryConnectionOpen, ReportsWhyThereIsNone)
{
    Connection connection;
    EXPECT_FALSE(connection.isOpen());
    expectNoReply(connection.open({.host = "localhost"}), "\"localhost\" is not a dotted IPv4 address");
    expectNoReply(connection.open({.port = 0}), "0 is not a port number");
    EXPECT_FALSE(connection.isOpen());
    expectNoReply(connection.getItem("t", {"h", "r"}), "the connection is not open");
}

TEST(LibraryConnectionOpen, EndsAtItsLimit)
{
    const SilentPort silent(0);
    Connection first;
    ASSERT_TRUE(first.open(silent.server(seconds(60), seconds(60))));
    Connection second;
    expectNoReply(second.open(silent.server(milliseconds(20), seconds(60))), "no connection within 20 ms");
    EXPECT_FALSE(second.isOpen());
}

TEST(LibraryConnectionCall, EndsAtItsLimitAndClosesTheConnection)
{
    const SilentPort silent(8);
    Connection connection;
    ASSERT_TRUE(connection.open(silent.server(seconds(60), milliseconds(20))));
    expectNoReply(connection.describeTable("t"), "no bytes within 20 ms");
    EXPECT_FALSE(connection.isOpen());
    expectNoReply(connection.describeTable("t"), "the connection is not open");

    ASSERT_TRUE(connection.open(silent.server(seconds(60), milliseconds(20))));
    const QString large(64 * 1024 * 1024, 'x');
    expectNoReply(connection.describeTable(large), "no bytes taken within 20 ms");
    EXPECT_FALSE(connection.isOpen());
}

TEST(LibraryConnectionCall, RefusesRepliesThatAreNoObjects)
{
    for (const QByteArray text : {"no JSON", "[200]", "17"}) {
        const SilentPort port(1);
        Connection connection;
        ASSERT_TRUE(connection.open(port.server(seconds(60), seconds(60))));
        std::thread peer([&] { port.answerOne(QByteArray(3, '\0') + static_cast<char>(text.size()) + text); });
        expectNoReply(connection.describeTable("t"), "the reply is no JSON object");
        EXPECT_FALSE(connection.isOpen());
        peer.join();
    }
}

TEST_F(LibraryConnection, ServerThatIsGoneIsReportedAndItsSuccessorIsReachedByOpeningAgain)
{
    put("k", "1", {{"a", N(1)}});
    server_.kill();
    ASSERT_TRUE(server_.waitForExit());
    const Result lost = connection_.getItem(table_, {"k", "1"});
    EXPECT_EQ(lost.outcome(), Outcome::NoReply);
    EXPECT_NE(lost.errorText(), "");
    EXPECT_FALSE(connection_.isOpen());
    expectNoReply(connection_.getItem(table_, {"k", "1"}), "the connection is not open");

    ASSERT_TRUE(server_.start());
    expectNoReply(connection_.getItem(table_, {"k", "1"}), "the connection is not open");
    ASSERT_TRUE(connection_.open(address()));
    EXPECT_EQ(stored("k", "1"), (Item{{"a", N(1)}}));
}

TEST_F(LibraryConnection, MovesAndCloses)
{
    put("k", "1", {{"a", N(1)}});
    Connection moved(std::move(connection_));
    EXPECT_TRUE(moved.isOpen());
    EXPECT_TRUE(moved.getItem(table_, {"k", "1"}).item());
    Connection assigned;
    assigned = std::move(moved);
    EXPECT_TRUE(assigned.getItem(table_, {"k", "1"}).item());
    assigned.close();
    EXPECT_FALSE(assigned.isOpen());
    connection_ = std::move(assigned);
    expectNoReply(connection_.getItem(table_, {"k", "1"}), "the connection is not open");
    EXPECT_TRUE(connection_.open(address()));
    EXPECT_TRUE(connection_.getItem(table_, {"k", "1"}).item());
}

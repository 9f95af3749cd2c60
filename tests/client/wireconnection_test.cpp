#include "client/wireconnection.h"

#include "protocol/framing.h"
#include "support/heldport.h"

#include <gtest/gtest.h>

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>
#include <future>
#include <thread>

namespace {

using namespace std::string_literals;

/** A server that accepts one connection, gives it to `script` on a thread of its own and closes it when that returns.
 */
class Peer {
public:
    explicit Peer(std::function<void(int)> script)
    {
        listener_.listen(1);
        thread_ = std::thread([this, script = std::move(script)] {
            const int connection = accept(listener_.descriptor(), nullptr, nullptr);
            if (connection < 0)
                return;
            script(connection);
            close(connection);
        });
    }
    ~Peer()
    {
        shutdown(listener_.descriptor(), SHUT_RDWR); // ends an accept that nobody answered
        thread_.join();
    }

    int port() const { return listener_.number(); }

private:
    HeldPort listener_;
    std::thread thread_;
};

void writeAll(int descriptor, const QByteArray& bytes)
{
    for (qsizetype written = 0; written < bytes.size();) {
        const ssize_t n =
            send(descriptor, bytes.constData() + written, static_cast<size_t>(bytes.size() - written), MSG_NOSIGNAL);
        if (n < 0)
            return;
        written += n;
    }
}

QByteArray readExactly(int descriptor, qsizetype size)
{
    QByteArray bytes(size, '\0');
    qsizetype have = 0;
    while (have < size) {
        const ssize_t n = recv(descriptor, bytes.data() + have, static_cast<size_t>(size - have), 0);
        if (n <= 0)
            break;
        have += n;
    }
    bytes.resize(have);
    return bytes;
}

/** Waits until the other side has closed the connection. */
void drain(int descriptor)
{
    char piece[4096];
    while (recv(descriptor, piece, sizeof piece, 0) > 0) {
    }
}

QByteArray reply(const QByteArray& text)
{
    const auto size = static_cast<quint32>(text.size());
    const char prefix[] = {static_cast<char>(size >> 24), static_cast<char>(size >> 16), static_cast<char>(size >> 8),
                           static_cast<char>(size)};
    return QByteArray(prefix, 4) + text;
}

const QByteArray Request = Framing::frameRequest("Op.Name", "{}");

/** A connection to `peer`. */
Client::WireConnection connectedTo(const Peer& peer)
{
    Client::WireConnection connection;
    EXPECT_TRUE(connection.open("127.0.0.1", peer.port())) << connection.error().toStdString();
    return connection;
}

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

TEST(WireConnectionOpen, TellsThatNobodyListens)
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
    // Nobody accepts, so a queue for one connection has no room for a second: the system drops what it sends.
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
        // The reply comes late and in pieces: a socket that does not wait would fail.
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
    EXPECT_EQ(source.socketDescriptor(), -1); // NOLINT: what a moved-from connection is, is the claim
    EXPECT_EQ(target.socketDescriptor(), descriptor);
    Client::WireConnection assigned;
    assigned = std::move(target);
    EXPECT_FALSE(target.isOpen()); // NOLINT
    EXPECT_EQ(assigned.socketDescriptor(), descriptor);
}

TEST(WireConnectionExchange, SendsTheFrameAndHandsOverTheReplysText)
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

TEST(WireConnectionExchange, LateReplyIsNotTakenForTheNextRequests)
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
    EXPECT_EQ(text, "before");
    timedOut.set_value();
    connection.setReceiveTimeout(0);
    ASSERT_TRUE(connection.receiveReply(&text)) << connection.error().toStdString();
    EXPECT_EQ(text, "after all");
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
    EXPECT_FALSE(connection.send("x")); // this one would raise SIGPIPE
    EXPECT_EQ(connection.error().toStdString(), "send: Broken pipe");
    EXPECT_TRUE(connection.isOpen());
}

#include "net/bdbsocket.h"

#include "netsupport.h"
#include "support/logcapture.h"
#include "support/systemcallfilter.h"
#include "testserver.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <optional>

using testing::ElementsAre;
using testing::IsEmpty;
using testing::MatchesRegex;

namespace {

sockaddr_in addressOf(const TestServer& server)
{
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<std::uint16_t>(server.realPort()));
    return address;
}

} // namespace

TEST(Listen, ServesConnections)
{
    const LogCapture log;
    TestServer server;
    EXPECT_EQ(server.port(), 0);
    ASSERT_EQ(server.listenAnywhere(), 0);
    Client::WireConnection connection;
    ASSERT_TRUE(server.connectTo(&connection)) << connection.error().toStdString();
    EXPECT_TRUE(exchangeWorks(connection));
}

TEST(Listen, PortZeroIsReportedAsZero)
{
    TestServer server;
    ASSERT_EQ(server.listenAnywhere(), 0);
    EXPECT_EQ(server.port(), 0);
    EXPECT_GT(server.realPort(), 0);
}

TEST(Listen, ReportsThePortItWasGiven)
{
    // Another process may take the free port before it is used; then the next one will do.
    for (int attempt = 0; attempt < 20; ++attempt) {
        const int port = portOf(Base::Descriptor(listenOnLoopback()).number());
        TestServer server;
        if (server.listen("127.0.0.1", port) != 0)
            continue;
        EXPECT_EQ(server.port(), port);
        EXPECT_EQ(server.realPort(), port);
        return;
    }
    FAIL() << "no free port";
}

TEST(Listen, APortInUseIsRefused)
{
    const Base::Descriptor occupant(listenOnLoopback());
    const LogCapture log(LogError);
    TestServer server;
    EXPECT_EQ(server.listen("127.0.0.1", portOf(occupant.number())), -1);
    EXPECT_EQ(server.port(), 0);
    EXPECT_THAT(log.lines(), ElementsAre(MatchesRegex("\\[ERROR\\] bdbsocket 42 bind failed sock [0-9]+ error 98")));
}

TEST(Listen, AFailureGivesTheSocketBack)
{
    const Base::Descriptor occupant(listenOnLoopback());
    TestServer server;
    const std::set<int> before = openDescriptors();
    EXPECT_EQ(server.listen("127.0.0.1", portOf(occupant.number())), -1);
    EXPECT_EQ(openDescriptors(), before);
}

TEST(Listen, AddressesAndPortsThatCannotBeAreRefused)
{
    struct {
        const char* address;
        int port;
    } const cases[] = {{"localhost", 0}, {"", 0}, {"127.0.0.1.1", 0}, {"127.0.0.1", 65536}, {"127.0.0.1", -1}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.address) + ":" + std::to_string(c.port));
        const LogCapture log(LogError);
        TestServer server;
        EXPECT_EQ(server.listen(c.address, c.port), -1);
        EXPECT_THAT(log.lines(),
                    ElementsAre(MatchesRegex("\\[ERROR\\] bdbsocket 42 bind failed sock [0-9]+ error 22")));
    }
}

TEST(Listen, WithoutASocketTheBindFails)
{
    const LogCapture log(LogError);
    TestServer server;
    {
        const NoFurtherDescriptors none;
        EXPECT_EQ(server.listenAnywhere(), -1);
    }
    EXPECT_THAT(log.lines(), ElementsAre("[ERROR] bdbsocket 33 socket creation failed error 24",
                                         "[ERROR] bdbsocket 42 bind failed sock -1 error 9"));
}

TEST(Listen, ASystemThatRefusesToListenFailsIt)
{
    const LogCapture log(LogError);
    TestServer server;
    const std::set<int> before = openDescriptors();
    int rc = 0;
    if (!runWithFailingCalls({__NR_listen}, EACCES, [&] { rc = server.listenAnywhere(); }))
        GTEST_SKIP() << "this system has no filters for system calls";
    EXPECT_EQ(rc, -1);
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_THAT(log.lines(), ElementsAre(MatchesRegex("\\[ERROR\\] bdbsocket 48 listen failed sock [0-9]+ error 13")));
}

TEST(Listen, FailsWithoutAnAcceptThread)
{
    TestServer server;
    const std::set<int> before = openDescriptors();
    int rc = 0;
    if (!runWithFailingCalls({__NR_clone, __NR_clone3}, EAGAIN, [&] { rc = server.listenAnywhere(); }))
        GTEST_SKIP() << "this system has no filters for system calls";
    EXPECT_EQ(rc, -1);
    EXPECT_EQ(server.port(), 0);
    EXPECT_EQ(openDescriptors(), before);
}

TEST(Listen, ASuccessorGetsThePortWhileOldConnectionsLinger)
{
    int port = 0;
    Client::WireConnection old;
    {
        TestServer first;
        ASSERT_EQ(first.listenAnywhere(), 0);
        port = first.realPort();
        ASSERT_TRUE(first.connectTo(&old));
        ASSERT_TRUE(exchangeWorks(old));
    } // the server's side closes first and lingers
    EXPECT_TRUE(endsWithoutData(old.socketDescriptor()));
    TestServer second;
    EXPECT_EQ(second.listen("127.0.0.1", port), 0);
    EXPECT_EQ(second.port(), port);
}

TEST(Listen, EveryDescriptorIsClosedOnExec)
{
    const LogCapture log; // opens its descriptors first
    const std::set<int> before = openDescriptors();
    TestServer server;
    ASSERT_EQ(server.listenAnywhere(), 0);
    Client::WireConnection connection;
    ASSERT_TRUE(server.connectTo(&connection));
    ASSERT_TRUE(exchangeWorks(connection));
    const std::set<int> after = openDescriptors();
    EXPECT_EQ(after.size(), before.size() + 5); // epoll, its stop event, the listener, two ends of a connection
    for (const int number : after) {
        EXPECT_TRUE(before.contains(number) || (fcntl(number, F_GETFD) & FD_CLOEXEC) != 0) << number;
    }
}

TEST(Accept, TheLastDescriptorsAreKeptForDatabases)
{
    const LogCapture log(LogWarn);
    TestServer server;
    ASSERT_EQ(server.listenAnywhere(), 0);
    Client::WireConnection early;
    ASSERT_TRUE(server.connectTo(&early));
    ASSERT_TRUE(exchangeWorks(early));

    const int lowest = lowestFreeDescriptors(1).front();
    {
        const SoftLimit limit(RLIMIT_NOFILE, static_cast<rlim_t>(lowest) + 64);
        Client::WireConnection late;
        ASSERT_TRUE(server.connectTo(&late));
        EXPECT_TRUE(endsWithoutData(late.socketDescriptor()));
        EXPECT_TRUE(exchangeWorks(early)); // existing connections stay usable
    }
    EXPECT_EQ(log.count("connection refused, the last descriptors are kept for databases, sd "), 1u);
    Client::WireConnection later;
    ASSERT_TRUE(server.connectTo(&later));
    EXPECT_TRUE(exchangeWorks(later));
}

TEST(Accept, TheDescriptorBelowTheLastOnesIsServed)
{
    const LogCapture log(LogWarn);
    TestServer server;
    ASSERT_EQ(server.listenAnywhere(), 0);
    // The client takes one of these descriptors and the connection the other.
    const int second = lowestFreeDescriptors(2).back();
    const SoftLimit limit(RLIMIT_NOFILE, static_cast<rlim_t>(second) + 1 + 64);
    Client::WireConnection connection;
    ASSERT_TRUE(server.connectTo(&connection));
    EXPECT_TRUE(exchangeWorks(connection));
    EXPECT_EQ(log.count("connection refused"), 0u);
}

TEST(Accept, ExhaustedDescriptorsGiveALineEachWithAPause)
{
    using Clock = std::chrono::steady_clock;
    const LogCapture log(LogWarn);
    TestServer server(3);
    ASSERT_EQ(server.listenAnywhere(), 0);
    Client::WireConnection early;
    ASSERT_TRUE(server.connectTo(&early));
    ASSERT_TRUE(exchangeWorks(early));

    const Base::Descriptor late(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    {
        const NoFurtherDescriptors none;
        const sockaddr_in address = addressOf(server);
        const auto begin = Clock::now();
        ASSERT_EQ(connect(late.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
        ASSERT_TRUE(log.waitFor("[WARN] invalid sd -1", 4));
        EXPECT_GE(Clock::now() - begin, std::chrono::milliseconds(250)); // there are three pauses between four failures
        EXPECT_TRUE(exchangeWorks(early));
    }
    Client::WireConnection recovered;
    ASSERT_TRUE(server.connectTo(&recovered));
    EXPECT_TRUE(exchangeWorks(recovered));
}

TEST(Accept, AServerThatCannotAcceptStillEnds)
{
    const LogCapture log(LogWarn);
    std::optional<NoFurtherDescriptors> none; // outlives the server
    TestServer server;
    ASSERT_EQ(server.listenAnywhere(), 0);
    const sockaddr_in address = addressOf(server);
    const Base::Descriptor client(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    none.emplace();
    ASSERT_EQ(connect(client.number(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_TRUE(log.waitFor("[WARN] invalid sd -1"));
}

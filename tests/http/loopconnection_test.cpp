#include "http/loopconnection.h"

#include "support/scriptedserver.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <string>

using Http::LoopConnection;

namespace {

/** A connection whose other end is in the test's hands, and its loop. */
class LoopConnections : public testing::Test {
protected:
    void SetUp() override
    {
        int ends[2];
        ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
        connection_.emplace(loop_.get_executor(), Base::Descriptor(ends[0]));
        server_ = Base::Descriptor(ends[1]);
    }

    void reply(const std::string& bytes)
    {
        ASSERT_EQ(write(server_.number(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    }

    void receive()
    {
        connection_->receive([this](LoopConnection::Reply& reply) {
            ++calls_;
            last_ = reply;
        });
    }

    /** Runs the loop until the connection has called back once more. */
    void waitForCall()
    {
        const int before = calls_;
        loop_.restart();
        while (calls_ == before)
            loop_.run_one();
    }

    boost::asio::io_context loop_{1};
    Base::Descriptor server_;
    std::optional<LoopConnection> connection_;
    int calls_ = 0;
    LoopConnection::Reply last_;
};

} // namespace

TEST_F(LoopConnections, CarryOneExchangeAfterAnother)
{
    for (const char* const text : {"{\"a\":1}", "", "{}"}) {
        ASSERT_TRUE(connection_->send("request"));
        char request[7];
        ASSERT_EQ(recv(server_.number(), request, sizeof request, MSG_WAITALL), 7);
        receive();
        ASSERT_NO_FATAL_FAILURE(reply(ScriptedServer::framed(text)));
        waitForCall();
        EXPECT_TRUE(last_.isComplete);
        EXPECT_EQ(last_.text, text);
        EXPECT_EQ(last_.error, QString());
        EXPECT_FALSE(connection_->hasSurplus());
    }
    EXPECT_EQ(calls_, 3);
}

TEST_F(LoopConnections, ReplyMayComeByteByByteAndEachShowsProgress)
{
    const std::string bytes = ScriptedServer::framed("{\"a\":1}");
    receive();
    for (std::size_t sent = 0; sent < bytes.size(); ++sent) {
        EXPECT_FALSE(last_.isComplete) << sent;
        ASSERT_NO_FATAL_FAILURE(reply(bytes.substr(sent, 1)));
        waitForCall();
        EXPECT_EQ(calls_, static_cast<int>(sent) + 1);
    }
    EXPECT_TRUE(last_.isComplete);
    EXPECT_EQ(last_.text, "{\"a\":1}");
}

TEST_F(LoopConnections, LargeReplyIsReceivedInWhole)
{
    std::string text;
    for (int number = 0; number < 400'000; ++number)
        text += std::to_string(number);
    ScriptedServer server([&](const ScriptedServer::Request&) { return ScriptedServer::framed(text); });
    const int socket = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    address.sin_port = htons(static_cast<uint16_t>(server.port()));
    ASSERT_EQ(connect(socket, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    connection_.emplace(loop_.get_executor(), Base::Descriptor(socket));
    ASSERT_TRUE(connection_->send(QByteArray("\0\0\0\1x\0\0\0\0", 9)));
    receive();
    do
        waitForCall();
    while (!last_.isComplete && last_.error.isEmpty());
    EXPECT_TRUE(last_.text.toStdString() == text) << last_.text.size();
    connection_.reset();
}

TEST_F(LoopConnections, ReplyThatIsCutOffFails)
{
    receive();
    ASSERT_NO_FATAL_FAILURE(reply(ScriptedServer::framed("{}").substr(0, 5)));
    waitForCall();
    EXPECT_EQ(last_.error, QString());
    server_ = Base::Descriptor();
    waitForCall();
    EXPECT_FALSE(last_.isComplete);
    EXPECT_EQ(last_.error, QStringLiteral("the server closed the connection"));
}

TEST_F(LoopConnections, CancelFailsTheReply)
{
    receive();
    connection_->cancel();
    waitForCall();
    EXPECT_FALSE(last_.isComplete);
    EXPECT_EQ(last_.error, QStringLiteral("receive: Operation canceled"));
}

TEST_F(LoopConnections, BytesBehindAReplyAreASurplus)
{
    receive();
    ASSERT_NO_FATAL_FAILURE(reply(ScriptedServer::framed("{}") + "x"));
    waitForCall();
    EXPECT_TRUE(last_.isComplete);
    EXPECT_EQ(last_.text, "{}");
    EXPECT_TRUE(connection_->hasSurplus());
}

TEST_F(LoopConnections, SendFailsRatherThanWait)
{
    EXPECT_FALSE(connection_->send(QByteArray(64 * 1024 * 1024, 'x'))); // more than a socket holds
    server_ = Base::Descriptor();
    EXPECT_FALSE(connection_->send("x"));
}

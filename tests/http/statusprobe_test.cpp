#include "http/statusprobe.h"

#include "support/heldport.h"
#include "support/samplestatus.h"
#include "support/scriptedserver.h"

#include <gtest/gtest.h>

#include <future>
#include <latch>
#include <string>
#include <thread>
#include <utility>

#include <sys/socket.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using Http::StatusProbe;

StatusProbe::Result ask(int port, std::chrono::milliseconds limit = 60s)
{
    StatusProbe probe({"127.0.0.1", port, 0, 0}, limit);
    std::promise<StatusProbe::Result> answered;
    probe.ask([&](const StatusProbe::Result& result) { answered.set_value(result); });
    return answered.get_future().get();
}

std::string failureOf(int port, std::chrono::milliseconds limit = 60s)
{
    const StatusProbe::Result result = ask(port, limit);
    EXPECT_FALSE(result.isSuccess);
    EXPECT_TRUE(result.status.isEmpty());
    return result.failure.toStdString();
}

std::string serverAt(int port)
{
    return "The server at 127.0.0.1:" + std::to_string(port) + ' ';
}

} // namespace

TEST(StatusProbe, HasTheServersReply)
{
    ReplyingServer server([](const QByteArray& operation, const QByteArray& body) {
        EXPECT_EQ(operation, "Quorva_1.Status");
        EXPECT_EQ(body, "{}");
        return SampleStatus;
    });
    const StatusProbe::Result result = ask(server.port());
    EXPECT_TRUE(result.isSuccess);
    EXPECT_EQ(result.status, sampleStatus());
    EXPECT_EQ(result.failure, "");
}

TEST(StatusProbe, ServerThatIsNotThereIsNamed)
{
    const HeldPort port;
    EXPECT_EQ(failureOf(port.number()), serverAt(port.number()) + "cannot be reached: connect: Connection refused.");
}

TEST(StatusProbe, ServerThatClosesDoesNotAnswer)
{
    ReplyingServer server([](const QByteArray&, const QByteArray&) { return std::nullopt; });
    EXPECT_EQ(failureOf(server.port()), serverAt(server.port()) + "does not answer: the server closed the connection.");
}

TEST(StatusProbe, ServerThatIsSilentDoesNotAnswerInTime)
{
    HeldPort port;
    port.listen(1); // connections are accepted by the system alone
    EXPECT_EQ(failureOf(port.number(), 100ms), serverAt(port.number()) + "does not answer within 0.1 s.");
}

TEST(StatusProbe, ServerThatTricklesDoesNotAnswerInTime)
{
    HeldPort port;
    port.listen(1);
    std::thread trickle([&] {
        const int connection = accept(port.descriptor(), nullptr, nullptr);
        ASSERT_GE(connection, 0);
        // A length that is never reached; each byte comes long before a receive would time out.
        for (char byte = '\x01'; send(connection, &byte, 1, MSG_NOSIGNAL) == 1;)
            std::this_thread::sleep_for(1ms);
        close(connection);
    });
    EXPECT_EQ(failureOf(port.number(), 200ms), serverAt(port.number()) + "does not answer within 0.2 s.");
    trickle.join();
}

TEST(StatusProbe, ServerThatRefusesReturnsNoStatus)
{
    ReplyingServer server([](const QByteArray&, const QByteArray&) {
        return QByteArray(R"({"__rc":400,"__rcstr":"Bad Request","__type":"InternalServerError","message":"m"})");
    });
    EXPECT_EQ(failureOf(server.port()),
              serverAt(server.port()) + "answers, but does not report its status; it may be of another version.");
}

TEST(StatusProbe, RequestsThatComeTogetherShareAQuestion)
{
    std::latch asked(1);
    std::latch mayAnswer(1);
    ReplyingServer server([&, first = true](const QByteArray&, const QByteArray&) mutable {
        if (std::exchange(first, false)) {
            asked.count_down();
            mayAnswer.wait();
        }
        return SampleStatus;
    });
    StatusProbe probe({"127.0.0.1", server.port(), 0, 0}, 60s);
    std::latch answered(11);
    const auto done = [&](const StatusProbe::Result& result) {
        EXPECT_TRUE(result.isSuccess);
        answered.count_down();
    };
    probe.ask(done);
    asked.wait();
    for (int i = 0; i < 10; ++i)
        probe.ask(done); // later than the question in progress, so none of them gets its answer
    mayAnswer.count_down();
    answered.wait();
    EXPECT_EQ(server.requests(), 2);
}

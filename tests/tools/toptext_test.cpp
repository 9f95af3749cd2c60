#include "outputline.h"
#include "support/heldport.h"
#include "support/samplestatus.h"
#include "support/scriptedserver.h"
#include "support/waituntil.h"
#include "toolfixture.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::MatchesRegex;
using testing::StartsWith;

/** The sample after this many seconds, with one PutItem a second. */
QByteArray statusAfter(int seconds)
{
    QByteArray status = SampleStatus;
    status.replace("\"Uptime\": 100.0", "\"Uptime\": " + QByteArray::number(100 + seconds));
    status.replace("\"Count\": 100, \"Microseconds\"",
                   "\"Count\": " + QByteArray::number(100 + seconds) + ", \"Microseconds\"");
    status.replace("[90, 8, 1, 1]", "[" + QByteArray::number(90 + seconds) + ", 8, 1, 1]");
    return status;
}

/** The blocks of an output, each without the time in its first line. */
std::vector<std::string> blocksOf(const std::string& output)
{
    std::vector<std::string> blocks;
    std::size_t begin = 0;
    const auto isTime = [&](std::size_t at) {
        return output.size() >= at + 20 && std::isdigit(output[at]) != 0 && output[at + 4] == '-' &&
               output[at + 19] == '\n';
    };
    while (begin < output.size()) {
        EXPECT_TRUE(isTime(begin)) << output.substr(begin);
        std::size_t end = begin + 20;
        while (end < output.size() && !isTime(end))
            end = std::min(output.find('\n', end), output.size() - 1) + 1;
        blocks.push_back(output.substr(begin + 20, end - begin - 20));
        begin = end;
    }
    return blocks;
}

std::vector<std::string> top(int port, const std::vector<std::string>& more)
{
    std::vector<std::string> words = addressed(port, {"top", "--interval", "0.1"});
    words.insert(words.end(), more.begin(), more.end());
    return words;
}

class TopText : public ToolTest {};

} // namespace

TEST(TopTextOfTheSample, IsABlockForEachInterval)
{
    ReplyingServer server([seconds = 0](const QByteArray& operation, const QByteArray& body) mutable {
        EXPECT_EQ(operation, "Quorva_1.Status");
        EXPECT_EQ(body, "{}");
        return statusAfter(10 * seconds++);
    });
    const ProgramRun run = quorvactl(top(server.port(), {"--count", "2"}));
    EXPECT_EQ(run.status, Ok);
    EXPECT_EQ(run.error, "");
    const std::vector<std::string> blocks = blocksOf(run.output);
    ASSERT_EQ(blocks.size(), 2U) << run.output;
    EXPECT_EQ(lineOf(blocks[0], "quorva "), "quorva 2.4.0 at 127.0.0.1:" + std::to_string(server.port()) +
                                                ", process 4711, up 1 min 50 s; figures of 10 s");
    EXPECT_EQ(lineOf(blocks[1], "PutItem "), "PutItem       1.0         0  50 us  50 us  50 us    122");
    EXPECT_THAT(blocks[1], HasSubstr("up 2 min; figures of 10 s\n"));
    EXPECT_THAT(blocks[1], testing::EndsWith("127.0.0.1:51234\n\n"));
    EXPECT_THAT(run.output, testing::Not(HasSubstr("\033")));
    EXPECT_EQ(server.requests(), 3);
    EXPECT_EQ(server.connections(), 1);
}

TEST_F(TopText, ShowsWhatIsDoneMeanwhile)
{
    RunningProgram running(QUORVACTL_BINARY, top(server_.port(), {}), {"/dev/null", pathOf("top")});
    ASSERT_TRUE(waitUntil([&] { return !readFile(pathOf("top")).empty(); }));
    for (int i = 0; i < 20; ++i)
        expectOutput({"put", table(), "h=S:a", "r=S:" + std::to_string(i)}, "");
    ASSERT_TRUE(waitUntil([&] {
        const std::string shown = readFile(pathOf("top"));
        const std::string line = lineOf(shown.substr(shown.rfind("OPERATION")), "PutItem ");
        return line.ends_with(" 20");
    })) << readFile(pathOf("top"));
    running.signal(SIGTERM);
    EXPECT_EQ(running.wait().status, Ok);
}

TEST(TopTextOfNoServer, SaysSoAndContinues)
{
    const HeldPort port;
    const ProgramRun run = quorvactl(top(port.number(), {"--count", "2"}));
    EXPECT_EQ(run.status, NoReply);
    EXPECT_EQ(run.error, "");
    const std::string line =
        "no status from 127.0.0.1:" + std::to_string(port.number()) + ": connect: Connection refused; trying again\n\n";
    EXPECT_THAT(blocksOf(run.output), ElementsAre(line, line));
}

TEST(TopTextOfAServerThatComesBack, ShowsItAgain)
{
    std::atomic<int> requests = 0; // one connection at a time, each on a thread of its own
    ReplyingServer server([&requests](const QByteArray&, const QByteArray&) -> std::optional<QByteArray> {
        const int count = ++requests;
        if (count == 2)
            return std::nullopt; // closes
        if (count == 3)
            return QByteArray("no JSON");
        if (count == 4)
            return QByteArray(R"({"__rc":400,"__rcstr":"Bad Request","__type":"InternalServerError","message":"m."})");
        return statusAfter(10 * count);
    });
    const ProgramRun run = quorvactl(top(server.port(), {"--count", "4"}));
    EXPECT_EQ(run.status, Ok);
    const std::vector<std::string> blocks = blocksOf(run.output);
    ASSERT_EQ(blocks.size(), 4U) << run.output;
    EXPECT_THAT(blocks[0], HasSubstr(": the server closed the connection; trying again\n"));
    EXPECT_THAT(blocks[1], HasSubstr(": the reply is not valid JSON; trying again\n"));
    EXPECT_THAT(blocks[2], HasSubstr(": Bad Request, InternalServerError: m.; trying again\n"));
    EXPECT_THAT(blocks[3], HasSubstr("figures of 40 s\n")) << "since the latest one that there was";
    EXPECT_EQ(server.connections(), 4);
}

TEST(TopTextOfASilentServer, GivesUpAfterTheTimeout)
{
    HeldPort port;
    port.listen(5);
    const ProgramRun run = quorvactl(top(port.number(), {"--count", "1", "--timeout", "1"}));
    EXPECT_EQ(run.status, NoReply);
    EXPECT_THAT(run.output, HasSubstr(": nothing within 1 s; trying again\n"));
}

TEST(TopTextIntoNothing, IsAFailure)
{
    ReplyingServer server([](const QByteArray&, const QByteArray&) { return SampleStatus; });
    const ProgramRun run = quorvactl(top(server.port(), {}), {"/dev/null", "/dev/full"});
    EXPECT_EQ(run.status, NoReply);
    EXPECT_EQ(run.error, "quorvactl: cannot write standard output\n");
}

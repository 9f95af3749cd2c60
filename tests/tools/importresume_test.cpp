#include "importfixture.h"

#include <map>
#include <utility>

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::EndsWith;

} // namespace

TEST_F(ImportCommand, SkipBeginsAfterThisManyLines)
{
    const std::string file = writeFile("items", itemLines(1, 10));
    expectOutput({"import", table(), file, "--skip", "4"}, "");
    EXPECT_EQ(count(), 6);
    EXPECT_FALSE(get("k", "4").contains("Item"));
    EXPECT_TRUE(get("k", "5").contains("Item"));
    expectOutput({"import", table(), file, "--skip", "10"}, "");
    expectFailure({"import", table(), file, "--skip", "11"}, Usage,
                  "quorvactl: " + file + " has only 10 lines, and 11 were to be skipped\n");
    expectFailure({"import", table(), writeFile("bad", "x\ny\n"), "--skip", "1"}, ErrorReply,
                  "quorvactl: " + pathOf("bad") +
                      ":2: the line is not valid JSON, at character 1: Invalid value\n"
                      "quorvactl: 1 item of " +
                      pathOf("bad") + " was refused, 0 stored in " + table() + '\n');
}

TEST_F(ImportCommand, ResumesAfterAKill)
{
    const std::string pipe = pathOf("items");
    const std::vector<std::string> words = addressed({"import", table(), pipe, "--state", state()});
    {
        Feed feed(pipe);
        RunningProgram program(QUORVACTL_BINARY, words);
        feed.write(itemLines(1, 30) + "x\n" + itemLines(32, 60)); // one line is refused
        EXPECT_TRUE(waitUntil([&] { return stateLine() == 60; }));
        program.signal(SIGKILL);
        EXPECT_EQ(program.wait().status, -SIGKILL);
    }
    EXPECT_EQ(count(), 59);
    fs::remove(pipe);
    // The same input as a file, whose first lines must not be read as items again.
    writeFile("items", [] {
        std::string text;
        for (int n = 1; n <= 60; ++n)
            text += "seen\n";
        return text + itemLines(61, 80) + "y\n";
    }());
    const ProgramRun resumed = runProgram(QUORVACTL_BINARY, words);
    EXPECT_EQ(resumed.status, ErrorReply);
    EXPECT_EQ(resumed.error, "quorvactl: " + pipe +
                                 ":81: the line is not valid JSON, at character 1: Invalid value\n"
                                 "quorvactl: 2 items of " +
                                 pipe + " were refused, 79 stored in " + table() + '\n');
    EXPECT_EQ(count(), 79);
    EXPECT_FALSE(fs::exists(state()));
}

TEST_F(ImportCommand, KillsAtAnyInstantLoseNothingAndKeepTheOrder)
{
    std::string text;
    std::map<std::pair<QString, QString>, int> expected;
    for (int n = 0; n < 6000; ++n) { // each item four times
        const int item = n * 7 % 1500;
        const std::string hash = "h" + std::to_string(item % 40);
        const std::string range = std::to_string(item);
        text +=
            R"({"h":{"S":")" + hash + R"("},"r":{"S":")" + range + R"("},"n":{"N":")" + std::to_string(n) + "\"}}\n";
        expected[{QString::fromStdString(hash), QString::fromStdString(range)}] = n;
    }
    const std::vector<std::string> words = addressed({"import", table(), writeFile("items", text), "--state", state()});
    for (const int line : {0, 1, 1000, 2500, 4000}) {
        RunningProgram program(QUORVACTL_BINARY, words);
        EXPECT_TRUE(waitUntil([&] { return stateLine() >= line; }));
        program.signal(SIGKILL);
        (void)program.wait();
    }
    const ProgramRun run = runProgram(QUORVACTL_BINARY, words);
    EXPECT_EQ(run.status, Ok) << run.error;
    EXPECT_FALSE(fs::exists(state()));
    EXPECT_EQ(count(), static_cast<long long>(expected.size()));
    for (const auto& [key, n] : expected)
        EXPECT_EQ(get(key.first, key.second).value("Item").toMap(),
                  (QVariantMap{{"n", numberValue(QString::number(n))}}));
}

TEST_F(ImportCommand, ResumesAfterTheServersEnd)
{
    const std::string pipe = pathOf("items");
    {
        Feed feed(pipe);
        RunningProgram program(QUORVACTL_BINARY, addressed({"import", table(), pipe, "--state", state()}));
        feed.write(itemLines(1, 30));
        EXPECT_TRUE(waitUntil([&] { return stateLine() == 30; }));
        killServer();
        feed.write(itemLines(31, 60));
        const ProgramRun run = program.wait();
        EXPECT_EQ(run.status, NoReply);
        EXPECT_THAT(run.error, AllOf(testing::StartsWith("quorvactl: no reply from 127.0.0.1:"),
                                     EndsWith(stopped("no reply came", pipe, 30, 30, 0, true))));
    }
    fs::remove(pipe);
    writeFile("items", itemLines(1, 60));
    expectFailure({"import", table(), pipe, "--state", state()}, NoReply, Complaints::noServer(server_.port()));
    EXPECT_EQ(stateLine(), 30);
    ASSERT_TRUE(server_.start());
    expectOutput({"import", table(), pipe, "--state", state()}, "");
    EXPECT_EQ(count(), 60);
    EXPECT_FALSE(fs::exists(state()));
}

TEST_F(ImportCommand, AnInterruptionStoresWhatWasReadAndReportsWhereToResume)
{
    for (const int signal : {SIGINT, SIGTERM, SIGHUP}) {
        Feed feed(pathOf("pipe" + std::to_string(signal)));
        fs::remove(state());
        RunningProgram program(QUORVACTL_BINARY, addressed({"import", table(), feed.path(), "--state", state()}));
        feed.write("x\n" + itemLines(2, 30));
        EXPECT_TRUE(waitUntil([&] { return stateLine() == 30; }));
        program.signal(signal);
        const ProgramRun run = program.wait();
        EXPECT_EQ(run.status, ErrorReply);
        EXPECT_THAT(run.error, EndsWith(stopped("interrupted", feed.path(), 30, 29, 1, true)));
        EXPECT_EQ(stateLine(), 30);
    }
    EXPECT_EQ(count(), 29);
}

TEST_F(ImportCommand, AnInterruptionAfterRefusedLinesResumesAfterThem)
{
    Feed feed(pathOf("pipe"));
    RunningProgram program(QUORVACTL_BINARY, addressed({"import", table(), feed.path(), "--state", state()}));
    feed.write(itemLines(1, 25));
    EXPECT_TRUE(waitUntil([&] { return stateLine() == 25; }));
    feed.write("x\n"); // nothing that would be sent follows
    EXPECT_TRUE(waitUntil([&] { return !program.errorText().empty(); }));
    program.signal(SIGINT);
    const ProgramRun run = program.wait();
    EXPECT_EQ(run.status, ErrorReply);
    EXPECT_THAT(run.error, EndsWith(stopped("interrupted", feed.path(), 26, 25, 1, true)));
    EXPECT_EQ(stateLine(), 26);
}

TEST_F(ImportCommand, AStateFileOfSomethingElseIsRefused)
{
    const std::string file = writeFile("items", itemLines(1, 3));
    const std::string advice = "  try: another file for --state, or remove this one to start over\n";
    writeFile("state", "nonsense");
    expectFailure({"import", table(), file, "--state", state()}, Usage,
                  "quorvactl: " + state() + " is not the state of an import\n" + advice);
    writeFile("state", R"({"line":1,"table":"d|t","input":"-","stored":1,"refused":0})");
    expectFailure({"import", table(), file, "--state", state()}, Usage,
                  "quorvactl: " + state() + " belongs to another import, of - into d|t\n" + advice);
    expectFailure({"import", table(), file, "--state", pathOf("none/state")}, ErrorReply,
                  stopped("cannot write " + pathOf("none/state") + ": No such file or directory", file, 0, 0, 0, true));
    EXPECT_EQ(count(), 0);
}

/** Other files next to the state file are none of its business, including the input itself. */
TEST_F(ImportCommand, AStateFileTouchesNothingBesides)
{
    const std::string file = writeFile("state.new", itemLines(1, 30));
    expectOutput({"import", table(), file, "--state", state()}, "");
    EXPECT_EQ(readFile(file), itemLines(1, 30));
    EXPECT_EQ(count(), 30);
}

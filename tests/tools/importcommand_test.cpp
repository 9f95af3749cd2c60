#include "importfixture.h"

#include "terminalrun.h"

namespace {

using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::Not;

} // namespace

TEST_F(ImportCommand, StoresAFileAndStandardInput)
{
    const std::string file = writeFile("items", itemLines(1, 60));
    expectOutput({"import", table(), file}, "");
    EXPECT_EQ(count(), 60);
    EXPECT_EQ(get("k", "37").value("Item").toMap(), (QVariantMap{{"n", numberValue("37")}}));

    const std::string more =
        writeFile("more", itemLines(61, 99) + "\n \r\n" + "{\"h\":{\"S\":\"last\"},\"r\":{\"S\":\"\"}}\r");
    expectOutput({"import", table()}, "", {.input = more});
    EXPECT_EQ(count(), 100);
    expectOutput({"import", table(), "-"}, "", {.input = more});
    EXPECT_EQ(count(), 100);
    expectOutput({"import", table(), "/dev/null"}, "");
}

TEST_F(ImportCommand, OfTwoLinesWithTheSameKeysTheLaterOneStays)
{
    const std::string one = R"({"h":{"S":"k"},"r":{"S":"r"},"v":{"N":)";
    const std::string file = writeFile("items", one + "\"1\"}}\n" + itemLines(1, 3) + one + "\"2\"}}\n" + one +
                                                    "\"3\"}}\n" + itemLines(4, 40));
    expectOutput({"import", table(), file}, "");
    EXPECT_EQ(get("k", "r").value("Item").toMap(), (QVariantMap{{"v", numberValue("3")}}));
    EXPECT_EQ(count(), 41);
}

TEST_F(ImportCommand, AMissingTableIsReportedAndNothingIsRead)
{
    const std::string file = writeFile("items", "x\n");
    expectFailure({"import", table("none"), file}, ErrorReply,
                  Complaints::notFound("there is no table " + table("none")));
    expectFailure(
        {"import", table(), server_.directory()}, ErrorReply,
        stopped("cannot read " + server_.directory() + ": Is a directory", server_.directory(), 0, 0, 0, false));
    killServer();
    expectFailure({"import", table(), file}, NoReply, Complaints::noServer(server_.port()));
}

TEST_F(ImportCommand, ShowsItsProgressOnATerminal)
{
    const std::string file = writeFile("items", itemLines(1, 100));
    const ProgramRun run = runOnTerminal(QUORVACTL_BINARY, addressed({"import", table(), file}));
    EXPECT_EQ(run.status, Ok);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.error, AllOf(testing::StartsWith("\r\033[K[>"), HasSubstr("]    0 %  0 items  0/s"),
                                 HasSubstr("=]  100 %  100 items  "), EndsWith("/s\r\n")));

    // Without a size there is neither a percentage nor a remaining time. Each refused line is reported on its own line.
    const std::string pipe = pathOf("pipe");
    Feed feed(pipe);
    feed.write("x\n" + itemLines(2, 30, "piped"));
    std::thread ending([&] {
        EXPECT_TRUE(waitUntil([&] { return get("piped", "30").contains("Item"); }));
        feed.end();
    });
    const ProgramRun piped = runOnTerminal(QUORVACTL_BINARY, addressed({"import", table(), pipe, "--skip", "0"}));
    ending.join();
    EXPECT_EQ(piped.status, ErrorReply);
    EXPECT_THAT(piped.error,
                AllOf(testing::StartsWith("\r\033[K0 items  0/s\r\033[Kquorvactl: " + pipe + ":1: "),
                      Not(HasSubstr("%")), HasSubstr("\r\033[K29 items  "),
                      EndsWith("quorvactl: 1 item of " + pipe + " was refused, 29 stored in " + table() + "\r\n")));
}

TEST_F(ImportCommand, AClosedStandardInputIsAnEmptyOne)
{
    const std::string command =
        "exec \"$0\" --port " + std::to_string(server_.port()) + " import '" + table() + "' <&-";
    const ProgramRun run = runProgram("/bin/sh", {"-c", command, QUORVACTL_BINARY});
    EXPECT_EQ(run.status, Ok) << run.error;
    EXPECT_EQ(count(), 0);
}

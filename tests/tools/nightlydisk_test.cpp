#include "support/serverwithdisk.h"

TEST(NightlyToASmallDisk, SaysThatTheDiskIsFullAndLeavesNothingThere)
{
    if (!mayMount())
        GTEST_SKIP() << "this system lets nobody mount a disk for himself";
    ServerWithDisk server("true");
    ASSERT_TRUE(server.start());
    server.fill();
    const std::string to = server.target() + "/nightly";
    const ProgramRun run =
        runProgram("/usr/bin/nsenter", {"--target", std::to_string(server.pid()), "--user", "--preserve-credentials",
                                        "--mount", QUORVACTL_BINARY, "--port", std::to_string(server.port()), "backup",
                                        "nightly", server.home(), "--to", to});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.error, testing::MatchesRegex(
                               "quorvactl: the copy to " + to +
                               "/env/[-0-9TZ]+ failed: its disk is full\n  try: free some space there; then make the "
                               "backup again\n"));
    EXPECT_THAT(namesIn(server.seen()), testing::IsEmpty());
}

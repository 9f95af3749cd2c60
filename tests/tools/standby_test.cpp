#include "standbyfixture.h"

#include "nightlyfixture.h"
#include "support/writeload.h"

namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using Standby = StandbyTest;

const std::string CaughtUp = " has caught up with log.00000000[0-9]{2}, data until [-0-9]+ [:0-9]+ UTC\n";

} // namespace

TEST_F(Standby, CatchesUpOnceAndAgain)
{
    expectSuccess(catchUp(), standby() + CaughtUp);
    putAndShip("first");
    expectSuccess(catchUp(), standby() + CaughtUp);
    putAndShip("second");
    const auto before = contentsOf(backup());
    expectSuccess(catchUp(), standby() + CaughtUp);
    const auto caughtUp = contentsOf(standby());
    expectSuccess(catchUp(), standby() + CaughtUp);
    EXPECT_EQ(contentsOf(standby()), caughtUp) << "there was nothing to apply";
    EXPECT_EQ(contentsOf(backup()), before);
    switchAndCompare({standby(), "--switch"});
    EXPECT_THAT(keysIn(standby()), ElementsAre("first", "in the copy", "second"));
}

TEST_F(Standby, KeepsOnlyTheLogFilesThatTheNextRecoveryNeeds)
{
    for (const char* key : {"first", "second", "third"}) {
        putAndShip(key);
        EXPECT_EQ(catchUp().status, 0);
    }
    EXPECT_GT(*LogFiles::numbersIn(standby() + "/__log__").begin(), 3U);
    EXPECT_THAT(LogFiles::numbersIn(standby()), IsEmpty());
    switchAndCompare({backup(), standby(), "--switch"});
}

TEST_F(Standby, IsOpenedByNoServerUntilItIsSwitched)
{
    EXPECT_EQ(catchUp().status, 0);
    expectNotOpened();
    EXPECT_THAT(readFile(standby() + "/DB_CONFIG"), HasSubstr("\nquorvactl_standby following 1 1 "));
    const ProgramRun init = ::quorvactl({"init", standby(), "--force"});
    EXPECT_EQ(init.status, 1);
    EXPECT_EQ(init.error, "quorvactl: " + standby() + " is a standby\n  try: quorvactl standby " + standby() +
                              " --switch, which makes a directory for tables of it\n");
    EXPECT_EQ(restore(backup(), standby()).error, "quorvactl: " + standby() + " is not empty\n");

    const ProgramRun run = standby({backup(), standby(), "--switch"});
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_THAT(run.output, testing::MatchesRegex("data until [-0-9]+ [:0-9]+ UTC\nservers can open " + standby() +
                                                  ", with 1 table with 1 item\n"));
    EXPECT_THAT(keysIn(standby()), ElementsAre("in the copy"));
    EXPECT_FALSE(fs::exists(standby() + "/DB_CONFIG"));
    EXPECT_FALSE(fs::exists(standby() + "/__log__"));

    const ProgramRun again = catchUp();
    EXPECT_EQ(again.status, 1);
    EXPECT_EQ(again.error, "quorvactl: " + standby() + " is neither empty nor a standby\n");
}

TEST_F(Standby, FollowsTheLogThatIsShippedAndTakesOverAfterAKill)
{
    // The first server ships to the backup while it is written to; what was acknowledged by then is noted.
    EXPECT_EQ(act("UpdateDbBackup", backup()), accepted());
    RunningProgram following(QUORVACTL_BINARY, {"standby", backup(), standby(), "--follow"});
    WriteLoad load(server_, tableName());
    ASSERT_TRUE(load.waitForMore(400));
    const auto acknowledged = load.acknowledged();
    const auto reached = *LogFiles::numbersIn(home()).rbegin();
    ASSERT_TRUE(waitUntil([&] { return *LogFiles::numbersIn(home()).rbegin() > reached + 1; }));
    load.stop();
    ship(backup());
    ASSERT_GE(lastShipped(), reached);
    // Everything up to the last shipped log file arrives, whatever becomes of the first server.
    killServer();
    const auto hasArrived = [&] {
        std::istringstream words(readFile(standby() + "/DB_CONFIG"));
        std::string word;
        std::uint32_t last = 0;
        while (words >> word && word != "following") {
        }
        words >> last >> last;
        return last >= lastShipped();
    };
    ASSERT_TRUE(waitUntil(hasArrived)) << following.errorText();
    following.signal(SIGINT);
    const ProgramRun run = following.wait();
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.error, "");
    EXPECT_THAT(run.output, HasSubstr(LogFiles::name(lastShipped())));

    fs::rename(backup(), pathOf("lost"));
    EXPECT_EQ(standby({standby(), "--switch"}).status, 0);
    ASSERT_TRUE(server_.start()); // the second server
    load.expectHeldIn(itemsOf(tableIn(standby()), load.hashes()), acknowledged);
}

TEST_F(Standby, FollowingSaysThatItHasCaughtUpAlsoWhenThereWasNothingToDo)
{
    EXPECT_EQ(catchUp().status, 0);
    const std::string output = pathOf("output");
    RunningProgram following(QUORVACTL_BINARY, {"standby", backup(), standby(), "--follow"}, {.output = output});
    EXPECT_TRUE(waitUntil([&] { return readFile(output).ends_with(" UTC\n"); }));
    EXPECT_THAT(readFile(output), testing::MatchesRegex(standby() + CaughtUp));
    following.signal(SIGINT);
    EXPECT_EQ(following.wait().status, 0);
    EXPECT_THAT(readFile(output), testing::MatchesRegex(standby() + CaughtUp)) << "once";
}

TEST_F(Standby, FollowsOneNightsCopyAfterTheOther)
{
    const std::string to = pathOf("nightly");
    const auto nightly = [&] {
        const ProgramRun run = quorvactl({"backup", "nightly", home(), "--to", to, "--keep", "1"});
        EXPECT_EQ(run.status, 0) << run.error;
    };
    nightly();
    EXPECT_EQ(standby({to + "/env", standby()}).status, 0);
    put("k", "between", {{"a", textValue("x")}});
    fillMore(2);
    nightly();
    put("k", "not copied", {{"a", textValue("x")}});
    expectSuccess(standby({to + "/env", standby()}), standby() + CaughtUp);
    EXPECT_EQ(standby({to + "/env", standby(), "--switch"}).status, 0);
    EXPECT_THAT(keysIn(standby()), ElementsAre("between", "in the copy"));
}

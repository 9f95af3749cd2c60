#include "standbyfixture.h"

#include <sys/file.h>

#include <chrono>
#include <thread>

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

using StandbyFailures = StandbyTest;

} // namespace

TEST_F(StandbyFailures, AKillAtAnyInstantIsMadeGoodByTheNextRun)
{
    putAndShip("first");
    int cutOff = 0;
    for (int i = 0; i < 20; ++i) {
        SCOPED_TRACE(i);
        if (i == 10)
            putAndShip("second");
        RunningProgram run(QUORVACTL_BINARY, {"standby", backup(), standby()});
        std::this_thread::sleep_for(std::chrono::milliseconds(i % 10 * 4)); // a different instant in each round
        run.signal(SIGKILL);
        cutOff += run.wait().status == -SIGKILL ? 1 : 0;
        if (fs::exists(standby() + "/DB_CONFIG")) // before that, it contains nothing of the backup
            expectNotOpened();
        if (i % 10 == 9) {
            EXPECT_EQ(catchUp().status, 0);
        }
    }
    EXPECT_GT(cutOff, 0);
    // Likewise in a switch, which is repeated without the backup.
    RunningProgram run(QUORVACTL_BINARY, {"standby", standby(), "--switch"});
    EXPECT_TRUE(
        waitUntil([&] { return !LogFiles::numbersIn(standby()).empty() || !fs::exists(standby() + "/DB_CONFIG"); }));
    run.signal(SIGKILL);
    (void)run.wait();
    if (fs::exists(standby() + "/DB_CONFIG")) {
        EXPECT_EQ(standby({standby(), "--switch"}).status, 0);
    }
    EXPECT_THAT(keysIn(standby()), ElementsAre("first", "in the copy", "second"));
}

TEST_F(StandbyFailures, APartOfALogFileIsAppliedAndTheRestWhenItHasCome)
{
    putAndShip("first");
    const auto last = lastShipped();
    const std::string whole = readFile(shippedLog(last));
    for (const std::size_t size : {std::size_t{0}, std::size_t{20}, whole.size() / 3, whole.size() - 5}) {
        SCOPED_TRACE(size);
        fs::resize_file(shippedLog(last), 0);
        std::ofstream(shippedLog(last), std::ios::binary) << whole.substr(0, size);
        const ProgramRun run = catchUp();
        EXPECT_EQ(run.status, 0) << run.error;
        EXPECT_EQ(run.error, "");
    }
    std::ofstream(shippedLog(last), std::ios::binary) << whole;
    EXPECT_EQ(catchUp().status, 0);
    switchAndCompare({backup(), standby(), "--switch"});
}

TEST_F(StandbyFailures, AGapIsWaitedFor)
{
    EXPECT_EQ(catchUp().status, 0);
    putAndShip("first");
    const auto missing = lastShipped() - 1;
    fs::rename(shippedLog(missing), pathOf("late"));
    const std::string gap = "quorvactl: " + backup() + " has a gap in its log: " + LogFiles::name(missing) +
                            " is missing or truncated, and later log files cannot be applied without it\n";
    const ProgramRun run = catchUp();
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.error, gap);
    const ProgramRun switched = standby({backup(), standby(), "--switch"});
    EXPECT_EQ(switched.status, 1);
    EXPECT_EQ(switched.error,
              gap + "  try: quorvactl standby " + standby() + " --switch, to switch without what is missing\n");
    expectNotOpened();

    RunningProgram following(QUORVACTL_BINARY, {"standby", backup(), standby(), "--follow"});
    EXPECT_TRUE(waitUntil([&] { return following.errorText() == gap + "  the standby waits for it\n"; }));
    fs::rename(pathOf("late"), shippedLog(missing));
    EXPECT_TRUE(waitUntil([&] {
        return readFile(standby() + "/DB_CONFIG").find(' ' + std::to_string(lastShipped()) + ' ') != std::string::npos;
    }));
    following.signal(SIGTERM);
    EXPECT_EQ(following.wait().status, 0);
    switchAndCompare({backup(), standby(), "--switch"});
}

TEST_F(StandbyFailures, LogFilesThatHaveBeenAppliedMayBeRemovedFromTheBackup)
{
    putAndShip("first");
    EXPECT_EQ(catchUp().status, 0);
    const auto applied = LogFiles::numbersIn(backup() + "/__log__");
    putAndShip("second");
    for (const auto number : applied)
        fs::remove(shippedLog(number));
    fs::remove(backup() + "/t");
    EXPECT_EQ(catchUp().status, 0);
    EXPECT_EQ(standby({standby(), "--switch"}).status, 0);
    EXPECT_THAT(keysIn(standby()), ElementsAre("first", "in the copy", "second"));
}

TEST_F(StandbyFailures, TheLogOfAnotherEnvironmentIsRefused)
{
    putAndShip("first");
    EXPECT_EQ(catchUp().status, 0);
    const auto last = lastShipped();
    std::string other = readFile(shippedLog(last)) + "more";
    other[100] = static_cast<char>(other[100] + 1);
    std::ofstream(shippedLog(last), std::ios::binary) << other;
    const auto before = contentsOf(standby());
    const ProgramRun run = catchUp();
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.error, "quorvactl: " + shippedLog(last) + " does not belong to the same log as " + standby() +
                             "/__log__/" + LogFiles::name(last) + '\n');
    EXPECT_EQ(contentsOf(standby()), before);
}

TEST_F(StandbyFailures, ADamagedRecordIsNotApplied)
{
    EXPECT_EQ(catchUp().status, 0);
    putAndShip("first");
    const auto last = lastShipped();
    const std::string good = readFile(shippedLog(last));
    std::string bad = good;
    bad[bad.size() / 2] = static_cast<char>(bad[bad.size() / 2] + 1); // within an item's value
    std::ofstream(shippedLog(last), std::ios::binary) << bad;
    const ProgramRun run = catchUp();
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.error, HasSubstr(LogFiles::name(last) + " is damaged"));
    std::ofstream(shippedLog(last), std::ios::binary) << good;
    EXPECT_EQ(catchUp().status, 0) << "it is fetched again";
    switchAndCompare({backup(), standby(), "--switch"});
}

TEST_F(StandbyFailures, WhatIsInUseOrSomethingElseIsRefused)
{
    EXPECT_EQ(catchUp().status, 0);
    const int other = open(standby().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(flock(other, LOCK_EX), 0);
    EXPECT_EQ(catchUp().error, "quorvactl: " + standby() + " is open in a server, or in use by another quorvactl\n");
    close(other);

    const auto before = contentsOf(home());
    (void)request("DeleteTable", {{"TableName", tableName()}});
    EXPECT_EQ(standby({backup(), home()}).error, "quorvactl: " + home() + " is neither empty nor a standby\n");
    EXPECT_EQ(standby({home(), "--switch"}).error, "quorvactl: " + home() + " is neither empty nor a standby\n");
    EXPECT_EQ(standby({pathOf("none"), "--switch"}).status, 1);
    EXPECT_EQ(standby({pathOf("none"), pathOf("new")}).error, "quorvactl: " + pathOf("none") + " is not a directory\n");
    EXPECT_FALSE(fs::exists(pathOf("new")));
    EXPECT_EQ(standby({backup(), backup() + "/new"}).error,
              "quorvactl: " + backup() + "/new is inside " + backup() + ", which a standby must not change\n");
    EXPECT_EQ(standby({standby()}).status, 64);
}

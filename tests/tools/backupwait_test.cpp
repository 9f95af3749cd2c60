#include "backupcommandfixture.h"

#include "support/background.h"
#include "support/heldcopy.h"
#include "terminalrun.h"

#include <chrono>
#include <future>
#include <memory>

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

std::string copyFailed(const std::string& target)
{
    return "quorvactl: the copy to " + target +
           " failed; the server's log has the reason\n  try: its line \"Dbenv backup failed rc\", where 28 is a full "
           "disk; "
           "then remove " +
           markerIn(target) + " and start the backup again\n";
}

} // namespace

TEST_F(BackupCommand, StartWithWaitEndsWhenTheCopyIsComplete)
{
    put("k", "r", {{"a", textValue("x")}});
    const std::string target = pathOf("target");
    expectQuietSuccess(backup({"start", table(), target, "--wait"}));
    EXPECT_FALSE(hasMarker(target));
    EXPECT_EQ(itemsOf(tableIn(restored(target)), {"k"}).size(), 1U);
    // Again, to the directory of a complete backup.
    expectQuietSuccess(backup({"start", table(), "--wait", target}));
    EXPECT_FALSE(hasMarker(target));
}

TEST_F(BackupCommand, StartWithWaitReportsImmediatelyThatTheCopyFailed)
{
    put("k", "r", {{"a", textValue("x")}});
    const std::string target = markedTarget("target");
    HeldCopy held(target); // as a pipe cannot be synced to a disk
    fs::remove(markerIn(target));
    auto started = inBackground([&] { return backup({"start", table(), target, "--wait", "--stall", "70"}); });
    EXPECT_TRUE(held.waitUntilHeld());
    held.release();
    ASSERT_EQ(started.wait_for(std::chrono::seconds(60)), std::future_status::ready);
    const ProgramRun run = started.get();
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.error, copyFailed(target));
    EXPECT_TRUE(hasMarker(target)) << "it is not complete";
    EXPECT_THAT(takeBackupLines(), Contains(HasSubstr("Dbenv backup failed rc ")));
}

TEST_F(BackupCommand, StartWithWaitGivesUpOnACopyThatStalls)
{
    const std::string target = markedTarget("target");
    HeldCopy held(target);
    fs::remove(markerIn(target));
    const ProgramRun run = backup({"start", table(), target, "--wait", "--stall", "1"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.error, "quorvactl: the copy to " + target +
                             " has not grown for 1 second; the server continues with it\n"
                             "  try: the server's log, and the disk of that directory; quorvactl backup stop ends the "
                             "copy\n");
    EXPECT_TRUE(hasMarker(target));
}

TEST_F(BackupCommand, StartWithWaitSeesACopyGrowInASubDirectory)
{
    const std::string target = markedTarget("target");
    fs::create_directory(target + "/sub");
    std::ofstream(target + "/sub/t").flush();
    const auto held = std::make_unique<HeldCopy>(target);
    fs::remove(markerIn(target));
    auto started = inBackground([&] {
        return runOnTerminal(QUORVACTL_BINARY,
                             addressed({"backup", "start", table(), target, "--wait", "--stall", "2"}));
    });
    EXPECT_TRUE(held->waitUntilHeld());
    // The copy is stalled, while a file below it grows like one that is being copied.
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    std::uintmax_t bytes = 0;
    EXPECT_TRUE(waitUntil([&] {
        fs::resize_file(target + "/sub/t", bytes += 1'048'576);
        return std::chrono::steady_clock::now() > end;
    }));
    EXPECT_EQ(started.wait_for(std::chrono::seconds(0)), std::future_status::timeout) << "it gave up";
    const ProgramRun run = started.get(); // as nothing grows any more
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.error, AllOf(HasSubstr(" MiB copied\r"),
                                 HasSubstr("iB copied\r\033[Kquorvactl: the copy to " + target + " has not grown")));
}

TEST_F(BackupCommand, StartWithWaitReportsThatTheServerHasGone)
{
    const std::string target = markedTarget("target");
    HeldCopy held(target);
    fs::remove(markerIn(target));
    auto started = inBackground([&] { return backup({"start", table(), target, "--wait"}); });
    EXPECT_TRUE(held.waitUntilHeld());
    killServer();
    const ProgramRun run = started.get();
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.error, AllOf(StartsWith("quorvactl: no reply from "), EndsWith(markerStays(target))));
    EXPECT_TRUE(hasMarker(target));
}

TEST_F(BackupCommand, StartWithoutWaitEndsWhenTheCopyHasBegun)
{
    const std::string target = markedTarget("target");
    const HeldCopy held(target);
    fs::remove(markerIn(target));
    expectQuietSuccess(backup({"start", table(), target}));
    EXPECT_TRUE(held.waitUntilHeld());
    EXPECT_TRUE(hasMarker(target));
    EXPECT_EQ(backupState(), (QVariantMap{{"State", "copying"}, {"Target", QString::fromStdString(target)}}));
}

TEST_F(BackupCommand, StartWithWaitDoesNotTakeALostMarkerForSuccess)
{
    for (const bool renames : {false, true}) {
        SCOPED_TRACE(renames);
        const std::string target = markedTarget(renames ? "renamed" : "unmarked");
        HeldCopy held(target);
        fs::remove(markerIn(target));
        auto started = inBackground([&] { return backup({"start", table(), target, "--wait"}); });
        ASSERT_TRUE(held.waitUntilHeld());
        const std::string pipe = (renames ? pathOf("elsewhere") : target) + '/' + logName(1);
        if (renames)
            fs::rename(target, pathOf("elsewhere"));
        else
            fs::remove(markerIn(target));
        const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC); // makes the copy fail
        const ProgramRun run = started.get();
        close(reader);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.error, "quorvactl: the copy to " + target +
                                 " ended before it was complete\n  try: the server's log; the directory or "
                                 "files in it were renamed or removed during the copy\n");
        (void)takeBackupLinesUntil("Disabling Database Backup");
    }
}

TEST_F(BackupCommand, AStallOfNoSecondsIsAUsageErrorInPlainWords)
{
    const ProgramRun run = backup({"start", table(), pathOf("target"), "--wait", "--stall", "0"});
    EXPECT_EQ(run.status, 64);
    EXPECT_THAT(run.error, HasSubstr("--stall: must be a whole number of seconds, 1 or more\n"));
}

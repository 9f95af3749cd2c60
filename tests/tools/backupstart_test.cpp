#include "backupcommandfixture.h"

#include "support/heldcopy.h"
#include "support/scriptedserver.h"
#include "terminalrun.h"

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Contains;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

std::string refusedTarget(const std::string& target)
{
    return "quorvactl: the server refused to copy to " + target +
           "\n  try: the server's log; the line \"Dbenv backup failed rc\" has the error code\n";
}

} // namespace

TEST_F(BackupCommand, StartMakesTheDirectoryAndTheMarkerThatTheServerDeletes)
{
    const std::string target = pathOf("some/where/target");
    expectQuietSuccess(backup({"start", table(), target}));
    EXPECT_TRUE(waitUntilComplete(target));
    EXPECT_EQ(namesIn(target), namesOfCopyOf(home()));
    EXPECT_THAT(takeComplaints(), IsEmpty()) << "the marker was there";
}

TEST_F(BackupCommand, StartShowsProgressOnATerminalOnly)
{
    const ProgramRun run =
        runOnTerminal(QUORVACTL_BINARY, addressed({"backup", "start", table(), pathOf("target"), "--wait"}));
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.error, AllOf(StartsWith("\r"), EndsWith(" KiB copied, complete\r\n")));
}

TEST_F(BackupCommand, StartTakesADirectoryFromWhereItIsRun)
{
    const std::string relative = fs::relative(pathOf("target"));
    ASSERT_FALSE(relative.starts_with('/'));
    expectQuietSuccess(backup({"start", table(), relative, "--wait"}));
    EXPECT_EQ(namesIn(pathOf("target")), namesOfCopyOf(home()));
}

TEST_F(BackupCommand, StartRefusesWhereAMarkerIs)
{
    const std::string target = markedTarget("target");
    const ProgramRun run = backup({"start", table(), target, "--wait"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.error, "quorvactl: another backup to " + target +
                             " is running, or was interrupted: " + markerIn(target) +
                             " exists\n  try: if no server is writing to the directory, remove this file and start "
                             "again\n");
    EXPECT_TRUE(hasMarker(target));
    EXPECT_THAT(takeBackupLines(), IsEmpty()) << "nothing was sent";
}

TEST_F(BackupCommand, StartReportsThatItCannotCreateTheMarker)
{
    std::ofstream(pathOf("file")).flush();
    const ProgramRun run = backup({"start", table(), pathOf("file")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.error, "quorvactl: cannot write " + markerIn(pathOf("file")) + ": Not a directory\n");
    const ProgramRun below = backup({"start", table(), pathOf("file/target")});
    EXPECT_EQ(below.status, 1);
    EXPECT_EQ(below.error, "quorvactl: cannot create " + pathOf("file/target") + ": Not a directory\n");
    EXPECT_THAT(takeBackupLines(), IsEmpty()) << "nothing was sent";
}

TEST_F(BackupCommand, StartRemovesItsMarkerWhenTheServerRefuses)
{
    const std::string running = markedTarget("running");
    HeldCopy held(running);
    EXPECT_EQ(act("DbBackup", running), accepted());
    ASSERT_TRUE(held.waitUntilHeld());
    const ProgramRun run = backup({"start", table(), pathOf("target"), "--wait", "--replace"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.error, anotherRuns("cannot back up " + table() + " to " + pathOf("target")));
    EXPECT_FALSE(hasMarker(pathOf("target")));
    EXPECT_TRUE(hasMarker(running));
}

TEST_F(BackupCommand, StartMakesNothingWhenNoServerIsThere)
{
    killServer();
    const ProgramRun run = backup({"start", table(), pathOf("target"), "--wait"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.error, Complaints::noServer(server_.port()));
    EXPECT_FALSE(fs::exists(pathOf("target")));
}

TEST_F(BackupCommand, StartLeavesItsMarkerWhenTheReplyIsLost)
{
    const std::string target = pathOf("target");
    const ReplyingServer server([](const QByteArray& operation, const QByteArray&) -> std::optional<QByteArray> {
        if (operation == "Quorva_1.DescribeBackup")
            return R"({"Backup":{"State":"none"},"__rc":200,"__rcstr":"OK"})";
        return std::nullopt; // it may have started the copy
    });
    const ProgramRun run = ::quorvactl(::addressed(server.port(), {"backup", "start", table(), target, "--wait"}));
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.error, AllOf(StartsWith("quorvactl: no reply from "), EndsWith(markerStays(target))));
    EXPECT_TRUE(hasMarker(target)) << "so that nobody restores half a copy";
}

TEST_F(BackupCommand, StartReportsARefusalAndLeavesNothingInTheTarget)
{
    // The finished backup of another environment, an environment, and directories that the tool creates below one.
    const std::string other = makeDirectory("other");
    createTable(tableIn(other));
    const std::string finished = makeDirectory("finished");
    makeMarker(finished);
    EXPECT_EQ(actOn(tableIn(other), "DbBackup", finished), accepted());
    ASSERT_TRUE(waitUntilComplete(finished));
    for (const std::string& target : {finished, home(), other, home() + "/some/where"}) {
        for (const bool waits : {false, true}) {
            SCOPED_TRACE(target + (waits ? " --wait" : ""));
            const auto before = namesIn(target);
            const bool existed = fs::exists(target);
            std::vector<std::string> words{"start", table(), target};
            if (waits)
                words.emplace_back("--wait");
            const ProgramRun run = backup(words);
            EXPECT_EQ(run.status, 1);
            EXPECT_EQ(run.output, "");
            EXPECT_EQ(run.error, refusedTarget(target));
            EXPECT_EQ(namesIn(target), before);
            EXPECT_EQ(fs::exists(target), existed);
            EXPECT_THAT(takeBackupLinesUntil("Disabling Database Backup"),
                        Contains(HasSubstr("Dbenv backup failed rc ")));
        }
    }
    EXPECT_FALSE(fs::exists(home() + "/some"));
}

TEST_F(BackupCommand, StartNamesTheDirectoryOfTheTableThatIsMissing)
{
    const std::string name = pathOf("nodir") + "|t";
    const ProgramRun run = backup({"start", name, pathOf("target")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.error,
              Complaints::noDirectory("cannot back up " + name + " to " + pathOf("target"), pathOf("nodir")));
    EXPECT_FALSE(fs::exists(pathOf("target")));
}

TEST_F(BackupCommand, StartDoesNotTakeTheShippingFromAnotherTargetUnlessTold)
{
    const std::string first = pathOf("first");
    expectQuietSuccess(backup({"start", table(), first, "--wait"}));
    (void)takeBackupLinesUntil("Done BDBHotBackupThread.log_archive");
    const std::string second = pathOf("second");
    const ProgramRun run = backup({"start", table(), second, "--wait"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.error, "quorvactl: the environment of " + table() + " is already being backed up to " + first +
                             ", and that backup would be stopped\n  try: --replace, if " + first +
                             " no longer needs to be kept up to date\n");
    EXPECT_FALSE(fs::exists(second));
    EXPECT_THAT(takeBackupLines(), IsEmpty()) << "the first goes on";

    // Another name for it makes no difference.
    fs::create_directory_symlink(first, pathOf("link"));
    expectQuietSuccess(backup({"start", table(), pathOf("link"), "--wait"}));
    expectQuietSuccess(backup({"start", table(), second, "--wait", "--replace"}));
    EXPECT_FALSE(hasMarker(second));
    // No backup is running, so none is displaced.
    expectQuietSuccess(backup({"stop", table()}));
    ASSERT_TRUE(waitUntil([&] { return backupState() == QVariantMap{{"State", "none"}}; }));
    expectQuietSuccess(backup({"start", table(), pathOf("third"), "--wait"}));
}

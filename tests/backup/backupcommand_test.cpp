#include "backupfixture.h"

#include "support/scriptedserver.h"
#include "terminalrun.h"
#include "tools/complaints.h"

#include <chrono>
#include <future>
#include <memory>

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

std::string anotherRuns(const std::string& failed)
{
    return Complaints::errorReply(failed, Complaints::ConditionFailed, "quorvactl backup stop; another backup runs");
}

class BackupCommand : public BackupTest {
protected:
    explicit BackupCommand(ServerProcess::Setup setup = {}) : BackupTest(std::move(setup)) {}

    std::string table() const { return tableName().toStdString(); }

    ProgramRun backup(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), "backup");
        return quorvactl(arguments);
    }

    /** What the server says about the backup of the table's environment. */
    QVariantMap backupState()
    {
        QVariantMap reply = request("Quorva_1.DescribeBackup", {{"TableName", tableName()}});
        const QVariantMap backup = reply.take("Backup").toMap();
        EXPECT_EQ(reply, okReply());
        return backup;
    }

    static void expectQuietSuccess(const ProgramRun& run)
    {
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.output, "");
        EXPECT_EQ(run.error, "");
    }
};

} // namespace

TEST_F(BackupCommand, StartMakesTheDirectoryAndTheMarkerThatTheServerDeletes)
{
    const std::string target = pathOf("some/where/target");
    expectQuietSuccess(backup({"start", table(), target}));
    EXPECT_TRUE(waitUntilComplete(target));
    EXPECT_EQ(namesIn(target), namesOfCopyOf(home()));
    EXPECT_THAT(takeComplaints(), IsEmpty()) << "the marker was there";
}

TEST_F(BackupCommand, StartWithWaitEndsWhenTheCopyIsComplete)
{
    put("k", "r", {{"a", textValue("x")}});
    const std::string target = pathOf("target");
    expectQuietSuccess(backup({"start", table(), target, "--wait"}));
    EXPECT_FALSE(hasMarker(target));
    EXPECT_EQ(itemsOf(tableIn(restored(target)), {"k"}).size(), 1U);
    // Again, to the directory of a complete one.
    expectQuietSuccess(backup({"start", table(), "--wait", target}));
    EXPECT_FALSE(hasMarker(target));
}

TEST_F(BackupCommand, StartShowsProgressOnATerminalOnly)
{
    const ProgramRun run = runOnTerminal(QUORVACTL_BINARY, {"--port", std::to_string(server_.port()), "backup", "start",
                                                            table(), pathOf("target"), "--wait"});
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.error, AllOf(StartsWith("\r"), EndsWith(" MB copied, complete\r\n")));
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
                             " is under way, or one was cut off: " + markerIn(target) + " is there\n");
    EXPECT_TRUE(hasMarker(target));
    EXPECT_THAT(takeBackupLines(), IsEmpty()) << "nothing was sent";
}

TEST_F(BackupCommand, StartTellsWhenItCannotMakeTheMarker)
{
    std::ofstream(pathOf("file")).flush();
    const ProgramRun run = backup({"start", table(), pathOf("file")});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.error, "quorvactl: cannot write " + markerIn(pathOf("file")) + ": Not a directory\n");
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
        return std::nullopt; // it might have begun the copy
    });
    const ProgramRun run = runProgram(
        QUORVACTL_BINARY, {"--port", std::to_string(server.port()), "backup", "start", table(), target, "--wait"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.error,
                AllOf(StartsWith("quorvactl: no reply from "),
                      EndsWith("quorvactl: " + markerIn(target) + " stays: the server may have begun the copy\n")));
    EXPECT_TRUE(hasMarker(target)) << "so that nobody restores half a copy";
}

TEST_F(BackupCommand, StartWithWaitTellsAtOnceThatTheCopyFailed)
{
    put("k", "r", {{"a", textValue("x")}});
    const std::string target = markedTarget("target");
    HeldCopy held(target); // a pipe cannot be synchronised with a disk
    fs::remove(markerIn(target));
    auto started = std::async(std::launch::async, [&] {
        return backup({"start", table(), target, "--wait", "--stall", "70"});
    });
    EXPECT_TRUE(held.waitUntilHeld());
    held.release();
    ASSERT_EQ(started.wait_for(std::chrono::seconds(60)), std::future_status::ready);
    const ProgramRun run = started.get();
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.error, "quorvactl: the copy to " + target + " has failed; the server's log tells why\n");
    EXPECT_TRUE(hasMarker(target)) << "it is not complete";
    EXPECT_THAT(takeBackupLines(), Contains(HasSubstr("Dbenv backup failed rc ")));
}

TEST_F(BackupCommand, StartWithWaitGivesUpOnACopyThatStandsStill)
{
    const std::string target = markedTarget("target");
    HeldCopy held(target);
    fs::remove(markerIn(target));
    const ProgramRun run = backup({"start", table(), target, "--wait", "--stall", "1"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.error, "quorvactl: the copy does not grow any more; the server's log tells why\n");
    EXPECT_TRUE(hasMarker(target));
}

TEST_F(BackupCommand, StartWithWaitSeesACopyGrowInASubDirectory)
{
    const std::string target = markedTarget("target");
    fs::create_directory(target + "/sub");
    std::ofstream(target + "/sub/t").flush();
    const auto held = std::make_unique<HeldCopy>(target);
    fs::remove(markerIn(target));
    auto started = std::async(std::launch::async, [&] {
        return runOnTerminal(QUORVACTL_BINARY, {"--port", std::to_string(server_.port()), "backup", "start", table(),
                                                target, "--wait", "--stall", "2"});
    });
    EXPECT_TRUE(held->waitUntilHeld());
    // The copy stands still, and a file below grows as one does that is being copied.
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    std::uintmax_t bytes = 0;
    EXPECT_TRUE(waitUntil([&] {
        fs::resize_file(target + "/sub/t", bytes += 1'000'000);
        return std::chrono::steady_clock::now() > end;
    }));
    EXPECT_EQ(started.wait_for(std::chrono::seconds(0)), std::future_status::timeout) << "it gave up";
    const ProgramRun run = started.get(); // as nothing grows any more
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.error, AllOf(HasSubstr(std::to_string(bytes / 1'000'000) + ".0 MB copied"),
                                 HasSubstr("the copy does not grow any more")));
}

TEST_F(BackupCommand, StartWithWaitTellsThatTheServerHasGone)
{
    const std::string target = markedTarget("target");
    HeldCopy held(target);
    fs::remove(markerIn(target));
    auto started = std::async(std::launch::async, [&] { return backup({"start", table(), target, "--wait"}); });
    EXPECT_TRUE(held.waitUntilHeld());
    killServer();
    const ProgramRun run = started.get();
    EXPECT_EQ(run.status, 2);
    EXPECT_THAT(run.error, StartsWith("quorvactl: no reply from "));
    EXPECT_TRUE(hasMarker(target));
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
    EXPECT_EQ(run.error, "quorvactl: the environment of " + table() + " is backed up to " + first +
                             " already, which would end\n  try: --replace, if " + first +
                             " need not be kept up to date any more\n");
    EXPECT_FALSE(fs::exists(second));
    EXPECT_THAT(takeBackupLines(), IsEmpty()) << "the first goes on";

    // By another name it is the same.
    fs::create_directory_symlink(first, pathOf("link"));
    expectQuietSuccess(backup({"start", table(), pathOf("link"), "--wait"}));
    expectQuietSuccess(backup({"start", table(), second, "--wait", "--replace"}));
    EXPECT_FALSE(hasMarker(second));
    // Nothing runs: nothing is taken away.
    expectQuietSuccess(backup({"stop", table()}));
    ASSERT_TRUE(waitUntil([&] { return backupState() == QVariantMap{{"State", "none"}}; }));
    expectQuietSuccess(backup({"start", table(), pathOf("third"), "--wait"}));
}

TEST_F(BackupCommand, TheServerTellsWhatABackupDoes)
{
    EXPECT_EQ(backupState(), (QVariantMap{{"State", "none"}}));
    const std::string target = markedTarget("target");
    const QString name = QString::fromStdString(target);
    HeldCopy held(target);
    EXPECT_EQ(act("DbBackup", target), accepted());
    ASSERT_TRUE(held.waitUntilHeld());
    EXPECT_EQ(backupState(), (QVariantMap{{"State", "copying"}, {"Target", name}}));
    EXPECT_EQ(act("StopDbBackup"), accepted());
    EXPECT_EQ(backupState(), (QVariantMap{{"State", "stopping"}, {"Target", name}}));
    held.release();
    EXPECT_TRUE(waitUntil([&] { return backupState() == QVariantMap{{"State", "none"}}; })) << "it failed";
    EXPECT_EQ(act("UpdateDbBackup", pathOf("shipped")), accepted());
    EXPECT_EQ(backupState(),
              (QVariantMap{{"State", "shipping"}, {"Target", QString::fromStdString(pathOf("shipped"))}}));
    EXPECT_EQ(request("Quorva_1.DescribeBackup", {{"TableName", "/nowhere|t"}}),
              request("UpdateTable", {{"TableName", "/nowhere|t"}}));
}

TEST_F(BackupCommand, UpdateShipsAndIsRefusedWhileThatRuns)
{
    const std::string target = makeDirectory("target");
    expectQuietSuccess(backup({"update", table(), target}));
    EXPECT_THAT(
        takeBackupLinesUntil("Done BDBHotBackupThread.log_archive"),
        ElementsAre("[INFO] Starting BDBHotBackupThread.log_archive", "[INFO] Done BDBHotBackupThread.log_archive"));
    const ProgramRun run = backup({"update", table(), fs::relative(target)});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.error,
              anotherRuns("cannot ship the log files of " + table() + " to " + fs::relative(target).string()));
    EXPECT_THAT(takeBackupLines(), ElementsAre("[WARN] thread is already running for target " + target));
}

TEST_F(BackupCommand, StopStops)
{
    expectQuietSuccess(backup({"update", table(), makeDirectory("target")}));
    expectQuietSuccess(backup({"stop", table()}));
    EXPECT_THAT(takeBackupLines(), Contains("[INFO] Disabling Database Backup"));
    EXPECT_TRUE(waitUntil([&] { return backup({"update", table(), pathOf("target")}).status == 0; }));
}

TEST_F(BackupCommand, ATableWhoseDirectoryIsMissingIsAnErrorReply)
{
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"backup", "start", "/nowhere|t", pathOf("target")},
                                               {"backup", "update", "/nowhere|t", pathOf("target")},
                                               {"backup", "stop", "/nowhere|t"},
                                               {"flush", "/nowhere|t"}}) {
        const ProgramRun run = quorvactl(words);
        EXPECT_EQ(run.status, 1) << testing::PrintToString(words);
        EXPECT_EQ(run.output, "");
        EXPECT_THAT(run.error,
                    AllOf(StartsWith("quorvactl: cannot "), HasSubstr("/nowhere|t"), HasSubstr(Complaints::NotFound)));
    }
    EXPECT_FALSE(hasMarker(pathOf("target")));
}

TEST_F(BackupCommand, WrongCommandLineIsAUsageError)
{
    const std::string target = pathOf("target");
    for (const std::vector<std::string>& words :
         std::vector<std::vector<std::string>>{{"backup"},
                                               {"backup", "begin", "a|t", target},
                                               {"backup", "start", "a|t"},
                                               {"backup", "start", "a|t", target, "more"},
                                               {"backup", "start", "a|t", target, "--wait", "--stall", "0"},
                                               {"backup", "update", "a|t"},
                                               {"backup", "update", "a|t", target, "--wait"},
                                               {"backup", "stop"},
                                               {"backup", "stop", "a|t", target},
                                               {"flush"},
                                               {"flush", "a|t", "more"}}) {
        const ProgramRun run = quorvactl(words);
        EXPECT_EQ(run.status, 64) << testing::PrintToString(words);
        EXPECT_EQ(run.output, "");
        EXPECT_THAT(run.error, HasSubstr("Run with --help for more information."));
    }
    EXPECT_FALSE(fs::exists(target));
}

namespace {

/** With DEBUG lines. */
class FlushCommand : public BackupCommand {
protected:
    FlushCommand() : BackupCommand({.arguments = {"-s", "1"}}) {}
};

} // namespace

TEST_F(FlushCommand, HasTheLogForcedToDisk)
{
    expectQuietSuccess(quorvactl({"flush", table()}));
    EXPECT_TRUE(server_.waitForLog("[DEBUG] flushEnv success dbpath " + table() + '\n'));
}

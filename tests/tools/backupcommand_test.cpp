#include "support/backupfixture.h"

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
    return Complaints::errorReply(failed, Complaints::ConditionFailed,
                                  "quorvactl backup stop; another backup is running");
}

std::string markerStays(const std::string& target)
{
    return "quorvactl: " + markerIn(target) +
           " is left in place: the server may have begun the copy\n  try: once no server is writing to the directory, "
           "remove this "
           "file and start the backup again\n";
}

std::string copyFailed(const std::string& target)
{
    return "quorvactl: the copy to " + target +
           " failed; the server's log tells why\n  try: its line \"Dbenv backup failed rc\"; then remove " +
           markerIn(target) + " and start the backup again\n";
}

std::string refusedTarget(const std::string& target)
{
    return "quorvactl: the server refused to copy to " + target +
           "\n  try: the server's log; the line \"Dbenv backup failed rc\" has the error code\n";
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
                             " is running, or was interrupted: " + markerIn(target) +
                             " exists\n  try: if no server is writing to the directory, remove this file and start "
                             "again\n");
    EXPECT_TRUE(hasMarker(target));
    EXPECT_THAT(takeBackupLines(), IsEmpty()) << "nothing was sent";
}

TEST_F(BackupCommand, StartTellsWhenItCannotMakeTheMarker)
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
        return std::nullopt; // it might have begun the copy
    });
    const ProgramRun run = runProgram(
        QUORVACTL_BINARY, {"--port", std::to_string(server.port()), "backup", "start", table(), target, "--wait"});
    EXPECT_EQ(run.status, 2);
    EXPECT_EQ(run.output, "");
    EXPECT_THAT(run.error, AllOf(StartsWith("quorvactl: no reply from "), EndsWith(markerStays(target))));
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
    EXPECT_EQ(run.error, copyFailed(target));
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
    EXPECT_EQ(run.error, "quorvactl: the copy has stopped growing; the server's log tells why\n");
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
                                 HasSubstr(" MB copied\r\033[Kquorvactl: the copy has stopped growing")));
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
    EXPECT_THAT(run.error, AllOf(StartsWith("quorvactl: no reply from "), EndsWith(markerStays(target))));
    EXPECT_TRUE(hasMarker(target));
}

TEST_F(BackupCommand, StartTellsOfARefusalAndLeavesNothingWhereItAimed)
{
    // The finished backup of another environment, a home, and directories that the tool makes below a home.
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
        auto started = std::async(std::launch::async, [&] { return backup({"start", table(), target, "--wait"}); });
        ASSERT_TRUE(held.waitUntilHeld());
        const std::string pipe = (renames ? pathOf("elsewhere") : target) + '/' + logName(1);
        if (renames)
            fs::rename(target, pathOf("elsewhere"));
        else
            fs::remove(markerIn(target));
        const int reader = open(pipe.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC); // lets the copy fail
        const ProgramRun run = started.get();
        close(reader);
        EXPECT_EQ(run.status, 1);
        EXPECT_EQ(run.error, "quorvactl: the copy to " + target +
                                 " ended before it was complete\n  try: the server's log; the directory or "
                                 "files in it were renamed or removed during the copy\n");
        (void)takeBackupLinesUntil("Disabling Database Backup");
    }
}

TEST_F(BackupCommand, UpdateTellsOfARefusedTarget)
{
    const std::string other = makeDirectory("other");
    createTable(tableIn(other));
    const auto before = namesIn(other);
    const ProgramRun run = backup({"update", table(), other});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "");
    EXPECT_EQ(run.error, "quorvactl: cannot ship the log files of " + table() + " to " + other +
                             ": shipping has ended\n  try: the server's log; the reason is behind \"log backup failed "
                             "for\" or in the line before it\n");
    EXPECT_EQ(namesIn(other), before);
    EXPECT_THAT(takeBackupLinesUntil("Disabling Database Backup"), Contains(HasSubstr("log backup failed for ")));
}

TEST_F(BackupCommand, ADirectoryThatCannotBeNamedIsAUsageError)
{
    for (const char* action : {"start", "update"}) {
        const ProgramRun empty = backup({action, table(), ""});
        EXPECT_EQ(empty.status, 64);
        EXPECT_EQ(empty.error, "quorvactl: the name of the backup directory is empty\n");
        const ProgramRun latin = backup({action, table(), pathOf("caf\xe9")});
        EXPECT_EQ(latin.status, 64);
        EXPECT_EQ(latin.error, "quorvactl: the name of the backup directory is not valid UTF-8\n");
    }
    EXPECT_FALSE(fs::exists(pathOf("caf\xe9")));
    EXPECT_THAT(takeBackupLines(), IsEmpty()) << "nothing was sent";
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

TEST_F(BackupCommand, AStallOfNoSecondsIsAUsageErrorInPlainWords)
{
    const ProgramRun run = backup({"start", table(), pathOf("target"), "--wait", "--stall", "0"});
    EXPECT_EQ(run.status, 64);
    EXPECT_THAT(run.error, HasSubstr("--stall: must be a whole number of seconds, 1 or more\n"));
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
                             ", and that backup would end\n  try: --replace, if " + first +
                             " no longer has to be kept up to date\n");
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

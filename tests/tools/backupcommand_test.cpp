#include "backupcommandfixture.h"

#include "support/heldcopy.h"

namespace {

namespace fs = std::filesystem;
using testing::AllOf;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

} // namespace

TEST_F(BackupCommand, UpdateReportsARefusedTarget)
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

TEST_F(BackupCommand, TheServerReportsWhatABackupDoes)
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

#include "backuplines.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

class StopDbBackup : public BackupTest {};

} // namespace

TEST_F(StopDbBackup, WhileIdleDisablesBackup)
{
    EXPECT_EQ(act("StopDbBackup"), accepted());
    EXPECT_THAT(takeBackupLines(), ElementsAre(Disabling));
    EXPECT_EQ(act("StopDbBackup", QVariant(7LL)), accepted()) << "the value is not read";
    EXPECT_THAT(takeBackupLines(), ElementsAre(Disabling));
}

TEST_F(StopDbBackup, EndsTheShippingSoThatAnotherCanBegin)
{
    EXPECT_EQ(act("UpdateDbBackup", makeDirectory("target")), accepted());
    EXPECT_THAT(takeBackupLinesUntil(DoneList), ElementsAre(StartList, DoneList));
    EXPECT_EQ(act("StopDbBackup"), accepted());
    EXPECT_THAT(takeBackupLines(), ElementsAre(Disabling));
    ASSERT_TRUE(waitUntil([&] { return act("UpdateDbBackup", makeDirectory("other")) == accepted(); }));
    (void)takeBackupLinesUntil(DoneList);
}

TEST_F(StopDbBackup, LetsTheNextCheckpointRemoveUnneededLogs)
{
    fillLogs(2);
    reopen();
    const auto isCheckpoint = [](const std::string& line) {
        return line.find("checkpoint") != std::string::npos || line.find("BDBCheckpointThread") != std::string::npos;
    };
    EXPECT_THAT(takeLines(isCheckpoint), ElementsAre("[INFO] Starting txn_checkpoint", "[INFO] Done txn_checkpoint 0"));
    EXPECT_TRUE(fs::exists(home() + '/' + logName(1))) << "a backup might want it";

    EXPECT_EQ(act("StopDbBackup"), accepted());
    reopen();
    EXPECT_TRUE(server_.waitForLog("Done BDBCheckpointThread.log_archive"));
    EXPECT_THAT(takeLines(isCheckpoint), ElementsAre("[INFO] Starting txn_checkpoint", "[INFO] Done txn_checkpoint 1",
                                                     "[INFO] Starting BDBCheckpointThread.log_archive",
                                                     "[INFO] Done BDBCheckpointThread.log_archive"));
    EXPECT_FALSE(fs::exists(home() + '/' + logName(1)));
    EXPECT_EQ(filledIn(tableName()), filled());
}

TEST_F(StopDbBackup, InOneEnvironmentLetsCheckpointsOfAllRemoveLogsUntilABackupStartsInAny)
{
    const QString other = tableIn(makeDirectory("other"));
    EXPECT_EQ(act("UpdateDbBackup", makeDirectory("target")), accepted());
    (void)takeBackupLinesUntil(DoneList);
    EXPECT_EQ(actOn(other, "StopDbBackup"), accepted());
    const auto checkpoints = [this] { return QString::fromStdString(server_.logText()).count("Done txn_checkpoint"); };
    ASSERT_TRUE(waitUntil([&] { return checkpoints() >= 2; })) << "each environment begins with one";
    reopen(); // which also ends the shipping
    EXPECT_TRUE(server_.waitForLog("Done txn_checkpoint 1"));
    EXPECT_EQ(actOn(other, "UpdateDbBackup", makeDirectory("target")), accepted());
    (void)takeLines([](const std::string&) { return true; });
    reopen();
    EXPECT_THAT(takeLines([](const std::string& line) { return line.find("Done txn") != std::string::npos; }),
                ElementsAre("[INFO] Done txn_checkpoint 0"));
}

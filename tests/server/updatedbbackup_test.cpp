#include "backuplines.h"

namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;

class UpdateDbBackup : public BackupTest {};

} // namespace

TEST_F(UpdateDbBackup, WhileIdleShipsUnneededLogsWithoutACopy)
{
    fillLogs(3);
    reopen();
    const std::string target = markedTarget("target");
    (void)takeBackupLines();
    EXPECT_EQ(act("UpdateDbBackup", target), accepted());
    EXPECT_THAT(takeBackupLinesUntil(DoneShipping), ElementsAre(StartList, DoneList, startShipping(2), DoneShipping));
    EXPECT_THAT(namesIn(target), ElementsAre("BackupInProgress.tmp", "__log__")) << "the marker is not its business";
    EXPECT_THAT(namesIn(target + "/__log__"), ElementsAre(logName(1), logName(2)));
    EXPECT_FALSE(fs::exists(home() + '/' + logName(1)));
    EXPECT_FALSE(fs::exists(home() + '/' + logName(2)));
    EXPECT_TRUE(fs::exists(home() + '/' + logName(3)));

    restartServer(); // nothing that it needs is missing
    EXPECT_EQ(filledIn(tableName()), filled());
}

TEST_F(UpdateDbBackup, WithoutADirectoryFails)
{
    for (const QVariant& nothing :
         {QVariant(QString()), QVariant(QVariantMap{{"S", "x"}}), QVariant(), QVariant(5LL)}) {
        EXPECT_EQ(act("UpdateDbBackup", nothing), accepted());
        EXPECT_THAT(takeBackupLinesUntil(Disabling),
                    ElementsAre(StartList, DoneList, "[WARN] DB Backup target  cannot be used rc 2",
                                "[ERROR] bdb # log backup failed for ", Disabling));
    }
    EXPECT_FALSE(fs::exists("/__log__"));
}

TEST_F(UpdateDbBackup, WhileLogsAreShippedIsAFailedCondition)
{
    const std::string target = makeDirectory("target");
    EXPECT_EQ(act("UpdateDbBackup", target), accepted());
    (void)takeBackupLinesUntil(DoneList);
    EXPECT_EQ(act("UpdateDbBackup", std::string("/other")), refused());
    EXPECT_THAT(takeBackupLines(), ElementsAre("[WARN] thread is already running for target /other"));
}

TEST_F(UpdateDbBackup, LeavesTheLogsWhereTheyAreWhenTheirDirectoryCannotBeMade)
{
    fillLogs(2);
    reopen();
    const std::string target = pathOf("missing");
    (void)takeBackupLines();
    EXPECT_EQ(act("UpdateDbBackup", target), accepted());
    EXPECT_THAT(takeBackupLinesUntil(DoneShipping),
                ElementsAre(StartList, DoneList, startShipping(1),
                            "[ERROR] bdb # Error in creating dir " + target + "/__log__", DoneShipping));
    EXPECT_TRUE(fs::exists(home() + '/' + logName(1)));
    EXPECT_FALSE(fs::exists(target));
    EXPECT_EQ(act("UpdateDbBackup", target), refused()) << "it tries again in the next cycle";
}

TEST_F(UpdateDbBackup, ALogThatCannotBeMovedEndsTheShipping)
{
    fillLogs(2);
    reopen();
    const std::string target = makeDirectory("target");
    std::ofstream(target + "/__log__") << "in the way";
    (void)takeBackupLines();
    EXPECT_EQ(act("UpdateDbBackup", target), accepted());
    EXPECT_THAT(takeBackupLinesUntil(Disabling),
                ElementsAre(StartList, DoneList, startShipping(1),
                            "[ERROR] bdb # Error in moving log file " + home() + '/' + logName(1),
                            "[ERROR] bdb # log backup failed for " + target, Disabling));
    EXPECT_TRUE(fs::exists(home() + '/' + logName(1)));
    // With the obstacle removed, shipping can be resumed, and replaces what the earlier attempt left.
    fs::remove(target + "/__log__");
    makeDirectory("target/__log__");
    fs::copy_file(home() + '/' + logName(1), target + "/__log__/" + logName(1));
    fs::resize_file(target + "/__log__/" + logName(1), 1000);
    ASSERT_TRUE(waitUntil([&] { return act("UpdateDbBackup", target) == accepted(); }));
    EXPECT_THAT(takeBackupLinesUntil(DoneShipping), Contains(DoneShipping));
    EXPECT_THAT(namesIn(target + "/__log__"), ElementsAre(logName(1)));
    EXPECT_GT(fs::file_size(target + "/__log__/" + logName(1)), 1'000'000U);
    EXPECT_FALSE(fs::exists(home() + '/' + logName(1)));
}

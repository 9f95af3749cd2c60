#include "backuplines.h"

#include "support/heldcopy.h"

namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

constexpr const char* StartCopy = "[INFO] Starting BDBHotBackupThread.backup";
constexpr const char* DoneCopy = "[INFO] Done BDBHotBackupThread.backup";

class DbBackup : public BackupTest {};

} // namespace

TEST_F(DbBackup, WithMarkerCopiesAllThenDeletesItAndShipsOn)
{
    put("k", "r", {{"a", textValue("x")}});
    const std::string target = markedTarget("target");
    EXPECT_EQ(act("DbBackup", target), accepted());
    EXPECT_THAT(takeBackupLinesUntil(DoneList), ElementsAre(StartCopy, DoneCopy, StartList, DoneList));
    std::vector<std::string> files = namesIn(home());
    EXPECT_EQ(namesIn(target), namesOfCopyOf(home())) << "and neither marker nor __log__";
    EXPECT_THAT(files, ElementsAre(logName(1), "t", onlyDataFile()));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(DbBackup, WithoutMarkerMakesTheCopyAndThenReportsAFailure)
{
    const std::string target = pathOf("target"); // not even the directory exists
    EXPECT_EQ(act("DbBackup", target), accepted());
    EXPECT_THAT(takeBackupLinesUntil(Disabling),
                ElementsAre(StartCopy, DoneCopy, "[ERROR] bdb # Failed to del temp file from " + target, Disabling));
    EXPECT_EQ(namesIn(target), namesOfCopyOf(home()));

    // The thread has ended, so another backup is accepted.
    ASSERT_TRUE(waitUntil([&] { return act("DbBackup", markedTarget("another")) == accepted(); }));
    EXPECT_TRUE(waitUntilComplete(pathOf("another")));
}

TEST_F(DbBackup, WhileAFullBackupRunsIsAFailedConditionAndChangesNothing)
{
    const std::string target = markedTarget("target");
    HeldCopy held(target);
    EXPECT_EQ(act("DbBackup", target), accepted());
    ASSERT_TRUE(held.waitUntilHeld());

    const std::string other = markedTarget("other");
    EXPECT_EQ(act("DbBackup", other), refused());
    EXPECT_EQ(act("UpdateDbBackup", other), refused());
    EXPECT_THAT(takeBackupLines(), ElementsAre(StartCopy, "[WARN] DB Backup is already running for " + target,
                                               "[WARN] thread is already running for target " + other));
    EXPECT_THAT(namesIn(other), ElementsAre("BackupInProgress.tmp"));

    held.release();
    EXPECT_THAT(takeBackupLinesUntil(Disabling), ElementsAre(copyFailed(ESPIPE), Disabling));
    EXPECT_TRUE(hasMarker(target)) << "the copy is not complete";
    backUpTo(other);
}

TEST_F(DbBackup, WhileLogsAreShippedReplacesTheShipping)
{
    EXPECT_EQ(act("UpdateDbBackup", makeDirectory("shipped")), accepted());
    EXPECT_THAT(takeBackupLinesUntil(DoneList), ElementsAre(StartList, DoneList));
    backUpTo(makeDirectory("first"));
    EXPECT_THAT(takeBackupLinesUntil(DoneList), ElementsAre(StartCopy, DoneCopy, StartList, DoneList));
    backUpTo(makeDirectory("second")); // which also goes on to ship logs
    EXPECT_THAT(takeBackupLinesUntil(DoneList), ElementsAre(StartCopy, DoneCopy, StartList, DoneList));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(DbBackup, GoesBeforeTheActionsThatAreNamedAfterIt)
{
    const std::string target = markedTarget("target");
    const QVariantMap both{
        {"DbBackup", QString::fromStdString(target)}, {"StopDbBackup", "1"}, {"UpdateDbBackup", "x"}};
    EXPECT_EQ(request("UpdateTable", {{"TableName", tableName()}, {"ProvisionedThroughput", both}}), accepted());
    EXPECT_TRUE(waitUntilComplete(target));
    EXPECT_THAT(takeBackupLinesUntil(DoneList), Not(Contains(Disabling)));
    // And "FlushDB" takes precedence over it.
    const QVariantMap flush{{"DbBackup", QString::fromStdString(pathOf("unused"))}, {"FlushDB", ""}};
    EXPECT_EQ(request("UpdateTable", {{"TableName", tableName()}, {"ProvisionedThroughput", flush}}), accepted());
    EXPECT_FALSE(fs::exists(pathOf("unused")));
}

TEST_F(DbBackup, AgainToTheSameDirectoryReplacesWhatIsThere)
{
    const std::string target = makeDirectory("target");
    put("k", "first", {{"a", textValue("x")}});
    backUpTo(target);
    put("k", "second", {{"a", textValue("y")}});
    backUpTo(target);
    const std::string copy = restored(target);
    const Items items = itemsOf(tableIn(copy), {"k"});
    EXPECT_EQ(items.size(), 2U);
    EXPECT_EQ(items, itemsOf(tableName(), {"k"}));
}

TEST_F(DbBackup, AgainToTheSameDirectoryIsRestorableThoughLogFilesBetweenThemAreGone)
{
    const std::string target = makeDirectory("target");
    backUpTo(target); // log file 1
    fillLogs(3);
    EXPECT_EQ(act("StopDbBackup"), accepted());
    reopen();
    EXPECT_TRUE(waitUntil([&] { return !fs::exists(home() + '/' + logName(2)); })) << "removed by the checkpoint";
    backUpTo(target); // log file 3
    const std::string copy = restored(target);
    EXPECT_EQ(filledIn(tableIn(copy)), filled());
}

TEST_F(DbBackup, ToTheHomeOfAnOpenEnvironmentFailsAndHarmsNeither)
{
    put("k", "r", {{"a", textValue("x")}});
    const std::string otherHome = makeDirectory("other");
    createTable(tableIn(otherHome));
    const QVariantMap item{{"TableName", tableIn(otherHome)},
                           {"Item", QVariantMap{{"h", textValue("o")}, {"r", textValue("r")}, {"a", textValue("y")}}}};
    EXPECT_EQ(request("PutItem", item).value("__rc"), QVariant(200LL));
    for (const std::string& target : {home(), otherHome}) {
        makeMarker(target);
        EXPECT_EQ(act("DbBackup", target), accepted());
        EXPECT_THAT(takeBackupLinesUntil(Disabling), ElementsAre(StartCopy, copyFailed(EBUSY), Disabling));
        EXPECT_TRUE(hasMarker(target));
    }
    restartServer();
    EXPECT_EQ(itemsOf(tableName(), {"k"}).size(), 1U);
    EXPECT_EQ(itemsOf(tableIn(otherHome), {"o"}).size(), 1U);
}

TEST_F(DbBackup, WithoutADirectoryFails)
{
    for (const QVariant& nothing :
         {QVariant(QString()), QVariant(QVariantMap{{"S", "x"}}), QVariant(), QVariant(5LL)}) {
        EXPECT_EQ(act("DbBackup", nothing), accepted());
        EXPECT_THAT(takeBackupLinesUntil(Disabling), ElementsAre(StartCopy, copyFailed(ENOENT), Disabling));
    }
}

TEST_F(DbBackup, BelowAFileFails)
{
    const std::string file = pathOf("file");
    std::ofstream(file) << "in the way";
    EXPECT_EQ(act("DbBackup", file + "/target"), accepted());
    EXPECT_THAT(takeBackupLinesUntil(Disabling), Contains(copyFailed(ENOTDIR)));
    EXPECT_EQ(put("k", "r", {}).value("__rc"), QVariant(200LL)) << "the server goes on";
}

TEST_F(DbBackup, ToADiskWithoutRoomFailsAndLeavesTheMarker)
{
    put("k", "r", {{"a", textValue("x")}});
    const std::string target = markedTarget("target");
    fs::create_symlink("/dev/full", target + '/' + onlyDataFile());
    EXPECT_EQ(act("DbBackup", target), accepted());
    EXPECT_THAT(takeBackupLinesUntil(Disabling), Contains(copyFailed(ENOSPC)));
    EXPECT_TRUE(hasMarker(target));
    EXPECT_EQ(put("k", "r", {}).value("__rc"), QVariant(200LL)) << "the server goes on";
    EXPECT_EQ(restore(target, pathOf("restored")).status, 1);
    backUpTo(makeDirectory("another"));
}

TEST_F(DbBackup, OfAnEnvironmentThatIsOpenedByTheRequest)
{
    const QString fresh = tableIn(makeDirectory("fresh"));
    for (int i = 0; i < 20; ++i) { // the first checkpoint may be written in the meantime
        const std::string target = markedTarget("target" + std::to_string(i));
        EXPECT_EQ(actOn(fresh, "DbBackup", target), accepted());
        ASSERT_TRUE(waitUntilComplete(target)) << server_.logText();
        EXPECT_EQ(request("DeleteTable", {{"TableName", fresh}}), okReply());
        fs::remove_all(server_.directory() + "/fresh");
        makeDirectory("fresh");
    }
}

TEST_F(DbBackup, OfTwoEnvironmentsAtTheSameTimeGoToTheirOwnTargets)
{
    const std::string otherHome = makeDirectory("other");
    const QString other = tableIn(otherHome, "o");
    createTable(other);
    put("k", "r", {{"a", textValue("x")}});
    const std::string target = markedTarget("target");
    const std::string otherTarget = markedTarget("othertarget");
    EXPECT_EQ(act("DbBackup", target), accepted());
    EXPECT_EQ(actOn(other, "DbBackup", otherTarget), accepted());
    EXPECT_TRUE(waitUntilComplete(target));
    EXPECT_TRUE(waitUntilComplete(otherTarget));
    EXPECT_EQ(namesIn(target), namesOfCopyOf(home()));
    EXPECT_EQ(namesIn(otherTarget), namesOfCopyOf(otherHome));
    // Both ship logs, and each refuses a second backup.
    EXPECT_EQ(act("UpdateDbBackup", target), refused());
    EXPECT_EQ(actOn(other, "UpdateDbBackup", otherTarget), refused());
    EXPECT_EQ(act("StopDbBackup"), accepted());
    EXPECT_EQ(actOn(other, "UpdateDbBackup", otherTarget), refused()) << "the stop was for the other one";
}

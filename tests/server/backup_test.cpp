#include "support/backupfixture.h"
#include "support/writeload.h"

#include <chrono>
#include <future>
#include <optional>
#include <regex>

namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

constexpr const char* StartCopy = "[INFO] Starting BDBHotBackupThread.backup";
constexpr const char* DoneCopy = "[INFO] Done BDBHotBackupThread.backup";
constexpr const char* StartList = "[INFO] Starting BDBHotBackupThread.log_archive";
constexpr const char* DoneList = "[INFO] Done BDBHotBackupThread.log_archive";
constexpr const char* DoneShipping = "[INFO] Done BDBHotBackupThread.backupLog";
constexpr const char* Disabling = "[INFO] Disabling Database Backup";

std::string startShipping(int files)
{
    return "[INFO] Starting BDBHotBackupThread.backupLog " + std::to_string(files);
}
std::string copyFailed(int rc)
{
    return "[ERROR] bdb # Dbenv backup failed rc " + std::to_string(rc);
}

class DbBackup : public BackupTest {};
class UpdateDbBackup : public BackupTest {};
class StopDbBackup : public BackupTest {};
class DeleteTableDuringBackup : public BackupTest {};

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
    const std::string target = pathOf("target"); // not even the directory is there
    EXPECT_EQ(act("DbBackup", target), accepted());
    EXPECT_THAT(takeBackupLinesUntil(Disabling),
                ElementsAre(StartCopy, DoneCopy, "[ERROR] bdb # Failed to del temp file from " + target, Disabling));
    EXPECT_EQ(namesIn(target), namesOfCopyOf(home()));

    // The thread has ended, so another is accepted.
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
    backUpTo(makeDirectory("second")); // which ships as well
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
    // And "FlushDB" goes before it.
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
    for (int i = 0; i < 20; ++i) { // the first checkpoint may be written meanwhile
        const std::string target = markedTarget("target" + std::to_string(i));
        EXPECT_EQ(actOn(fresh, "DbBackup", target), accepted());
        ASSERT_TRUE(waitUntilComplete(target)) << server_.logText();
        EXPECT_EQ(request("DeleteTable", {{"TableName", fresh}}), okReply());
        fs::remove_all(server_.directory() + "/fresh");
        makeDirectory("fresh");
    }
}

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
    // With the obstacle out of the way it can be taken up again, and replaces what an earlier try left.
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
    reopen(); // which also ends the shipping
    EXPECT_TRUE(server_.waitForLog("Done txn_checkpoint 1"));
    EXPECT_EQ(actOn(other, "UpdateDbBackup", makeDirectory("target")), accepted());
    (void)takeLines([](const std::string&) { return true; });
    reopen();
    EXPECT_THAT(takeLines([](const std::string& line) { return line.find("Done txn") != std::string::npos; }),
                ElementsAre("[INFO] Done txn_checkpoint 0"));
}

TEST_F(DbBackup, OfTwoEnvironmentsAtOnceGoToTheirOwnTargets)
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
    // Both ship, each refuses a second.
    EXPECT_EQ(act("UpdateDbBackup", target), refused());
    EXPECT_EQ(actOn(other, "UpdateDbBackup", otherTarget), refused());
    EXPECT_EQ(act("StopDbBackup"), accepted());
    EXPECT_EQ(actOn(other, "UpdateDbBackup", otherTarget), refused()) << "the stop was for the other one";
}

TEST_F(DeleteTableDuringBackup, EndsWhenTheFullCopyEndsAndOtherEnvironmentsGoOnMeanwhile)
{
    put("k", "r", {{"a", textValue("x")}});
    const std::string target = markedTarget("target");
    HeldCopy held(target);
    EXPECT_EQ(act("DbBackup", target), accepted());
    ASSERT_TRUE(held.waitUntilHeld());
    auto deleted = std::async(std::launch::async, [this] {
        return Caller(server_).request("DeleteTable", {{"TableName", tableName()}});
    });
    createTable(tableIn(makeDirectory("other")));
    held.release();
    EXPECT_EQ(deleted.get(), okReply());
    EXPECT_THAT(takeBackupLines(), Contains(copyFailed(ESPIPE)));
    EXPECT_EQ(get("k", "r"), okReply({{"Item", QVariantMap{{"a", textValue("x")}}}}));
    backUpTo(makeDirectory("another"));
}

TEST_F(DeleteTableDuringBackup, LetsAFullCopyComplete)
{
    put("k", "r", {{"a", textValue("x")}});
    const std::string target = markedTarget("target");
    EXPECT_EQ(act("DbBackup", target), accepted());
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply());
    EXPECT_FALSE(hasMarker(target)) << "the copy is over when the environment is closed";
    EXPECT_EQ(itemsOf(tableIn(restored(target)), {"k"}).size(), 1U);
}

TEST_F(DeleteTableDuringBackup, DoesNotWaitForTheNextCycleOfLogShipping)
{
    put("k", "r", {{"a", textValue("x")}});
    backUpTo(makeDirectory("target"));
    (void)takeBackupLinesUntil(DoneList);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::minutes(1)) << "a cycle is five";
    EXPECT_THAT(takeBackupLines(), IsEmpty()) << "it ends quietly";
    EXPECT_EQ(get("k", "r"), okReply({{"Item", QVariantMap{{"a", textValue("x")}}}}));
    EXPECT_EQ(act("UpdateDbBackup", pathOf("target")), accepted()) << "a thread of the new environment";
}

TEST_F(DeleteTableDuringBackup, WaitsForTheLogFilesThatAreBeingMoved)
{
    fillLogs(4);
    reopen();
    (void)takeBackupLines();
    const std::string target = makeDirectory("target");
    EXPECT_EQ(act("UpdateDbBackup", target), accepted());
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply());
    // A cycle that has begun is completed, so nothing is left to come.
    EXPECT_THAT(takeBackupLines(), ElementsAre(StartList, DoneList, startShipping(3), DoneShipping));
    EXPECT_THAT(namesIn(target + "/__log__"), ElementsAre(logName(1), logName(2), logName(3)));
    EXPECT_FALSE(fs::exists(home() + '/' + logName(3)));
    EXPECT_EQ(filledIn(tableName()), filled());
}

TEST_F(DeleteTableDuringBackup, OfAnIdleThreadIsPromptToo)
{
    put("k", "r", {{"a", textValue("x")}});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::minutes(1));
    EXPECT_THAT(takeBackupLines(), IsEmpty());
    EXPECT_EQ(get("k", "r"), okReply({{"Item", QVariantMap{{"a", textValue("x")}}}}));
}

namespace {

/** With the argument that commits go without waiting for the disk, and without. */
class BackupUnderLoad : public BackupTest, public testing::WithParamInterface<bool> {
protected:
    BackupUnderLoad()
        : BackupTest({.arguments = GetParam() ? std::vector<std::string>{"-n"} : std::vector<std::string>{}})
    {}
};

} // namespace

TEST_P(BackupUnderLoad, HoldsEveryWriteThatWasAcknowledgedBeforeTheMarkerWasGone)
{
    WriteLoad load(server_, tableName());
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        ASSERT_TRUE(load.waitForMore(150));
        const std::string target = markedTarget("target" + std::to_string(i));
        EXPECT_EQ(act("DbBackup", target), accepted());
        WriteLoad::Acknowledged before;
        for (WriteLoad::Acknowledged now = load.acknowledged(); hasMarker(target); now = load.acknowledged())
            before = now; // the marker was still there when all of this was acknowledged
        const std::string copy = restored(target);
        load.expectHeldIn(itemsOf(tableIn(copy), load.hashes()), before);
    }
    load.stop();
    EXPECT_TRUE(load.allAnswered());
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_P(BackupUnderLoad, ShipsLogsWhileWritesGoOnAndARestoreHoldsAllUpToTheLastOne)
{
    const std::string target = makeDirectory("target");
    backUpTo(target);
    // Fills a log file while others write, and lets a checkpoint, at the opening, release it.
    WriteLoad earlier(server_, tableName());
    ASSERT_TRUE(earlier.waitForMore(100));
    const WriteLoad::Acknowledged shipped = earlier.acknowledged();
    fillLogs(2); // all of the above is in log file 1 by then
    earlier.stop();
    EXPECT_TRUE(earlier.allAnswered());
    const Items all = itemsOf(tableName(), earlier.hashes());
    reopen();

    WriteLoad load(server_, tableName());
    ASSERT_TRUE(load.waitForMore(20));
    EXPECT_EQ(act("UpdateDbBackup", target), accepted());
    ASSERT_TRUE(waitUntil([&] { return !fs::exists(home() + '/' + logName(1)); })) << server_.logText();
    ASSERT_TRUE(load.waitForMore(20));
    const std::string copy = restored(target);
    load.stop();
    EXPECT_TRUE(load.allAnswered());

    EXPECT_THAT(namesIn(target + "/__log__"), ElementsAre(logName(1)));
    EXPECT_EQ(itemsOf(tableName(), earlier.hashes()), all);
    earlier.expectHeldIn(itemsOf(tableIn(copy), earlier.hashes()), shipped);
    const WriteLoad::Acknowledged last = load.acknowledged();
    restartServer();
    load.expectHeldIn(itemsOf(tableName(), load.hashes()), GetParam() ? WriteLoad::Acknowledged() : last);
}

INSTANTIATE_TEST_SUITE_P(Commits, BackupUnderLoad, testing::Bool(),
                         [](const auto& instance) { return instance.param ? "WithoutSync" : "Synced"; });

namespace {

/** A program in front of the server that gives it a small disk of its own at `target`. */
bool mayMount()
{
    return runProgram("/bin/sh", {"-c", "unshare --user --map-root-user --mount sh -c 'mount -t tmpfs none /mnt'"})
               .status == 0;
}

class BackupToDisk : public testing::Test {
protected:
    void SetUp() override
    {
        if (!mayMount())
            GTEST_SKIP() << "this system lets nobody mount a disk for himself";
    }
};

/** A server that sees a disk of 4 MB at `target`, which nobody else sees. */
class ServerWithDisk : public TempDir, public ServerProcess {
public:
    using TempDir::makeDirectory;

    explicit ServerWithDisk(const std::string& further)
        : ServerProcess({.wrapper = {"/bin/sh", "-c",
                                     "exec unshare --user --map-root-user --mount sh -c '"
                                     "mount -t tmpfs -o size=4m none \"$0\" && cd \"$0\" && " +
                                         further + " && cd / && exec \"$@\"' \"$@\"",
                                     "sh", makeDirectory("target")}})
    {
        makeDirectory("env");
    }

    std::string target() const { return file("target"); }
    std::string home() const { return file("env"); }
    QString table() const { return QString::fromStdString(home()) + "|t"; }

    /** What is in the target as the server sees it. */
    std::string seen(const std::string& path = {}) const
    {
        return "/proc/" + std::to_string(pid()) + "/root" + target() + '/' + path;
    }

    /** Writes until there are two log files, then has a checkpoint written that makes the first unneeded. */
    void fill()
    {
        const QVariantMap schema{{"TableName", table()}, {"KeySchema", keySchema()}};
        EXPECT_EQ(request("CreateTable", schema).value("__rc"), QVariant(200LL));
        for (int i = 0; !fs::exists(home() + '/' + logName(2)); ++i) {
            const QVariantMap item{
                {"h", textValue("k")}, {"r", textValue(QString::number(i))}, {"v", textValue(QString(400'000, 'v'))}};
            ASSERT_EQ(request("PutItem", {{"TableName", table()}, {"Item", item}}).value("__rc"), QVariant(200LL));
        }
        EXPECT_EQ(request("DeleteTable", {{"TableName", table()}}), okReply());
        (void)act("FlushDB");
        EXPECT_TRUE(waitUntil([this] {
            const std::string text = logText();
            return text.find("Done txn_checkpoint", text.find("Done txn_checkpoint") + 1) != std::string::npos;
        }));
    }

    QVariantMap act(const char* action)
    {
        return request("UpdateTable",
                       {{"TableName", table()},
                        {"ProvisionedThroughput", QVariantMap{{action, QString::fromStdString(target())}}}});
    }
};

} // namespace

TEST_F(BackupToDisk, AFullDiskFailsTheCopyAndTheServerGoesOn)
{
    ServerWithDisk server("touch BackupInProgress.tmp");
    ASSERT_TRUE(server.start());
    server.fill();
    EXPECT_EQ(server.act("DbBackup").value("__rc"), QVariant(200LL));
    EXPECT_TRUE(server.waitForLog("Disabling Database Backup"));
    EXPECT_THAT(server.logText(), testing::ContainsRegex("\\[ERROR\\] bdb [0-9]+ Dbenv backup failed rc 28\n"));
    EXPECT_TRUE(fs::exists(server.seen("BackupInProgress.tmp")));
    EXPECT_EQ(server.request("Scan", {{"TableName", server.table()}, {"Count", true}}).value("__rc"), QVariant(200LL));
}

TEST_F(BackupToDisk, AFullDiskEndsTheShippingAndTheLogFileStays)
{
    ServerWithDisk server("mkdir __log__");
    ASSERT_TRUE(server.start());
    server.fill();
    EXPECT_EQ(server.act("UpdateDbBackup").value("__rc"), QVariant(200LL));
    EXPECT_TRUE(server.waitForLog("Disabling Database Backup"));
    EXPECT_THAT(server.logText(), testing::ContainsRegex("\\[ERROR\\] bdb [0-9]+ Error in moving log file " +
                                                         server.home() + '/' + logName(1) + "\n"));
    EXPECT_THAT(server.logText(),
                testing::ContainsRegex("\\[ERROR\\] bdb [0-9]+ log backup failed for " + server.target() + "\n"));
    EXPECT_TRUE(fs::exists(server.home() + '/' + logName(1)));
    EXPECT_THAT(namesIn(server.seen("__log__")), IsEmpty()) << "half a file is of no use to anybody";
}

TEST_F(BackupToDisk, AReadOnlyDiskFailsTheCopy)
{
    ServerWithDisk server("touch BackupInProgress.tmp && mount -o remount,ro none .");
    ASSERT_TRUE(server.start());
    server.fill();
    EXPECT_EQ(server.act("DbBackup").value("__rc"), QVariant(200LL));
    EXPECT_TRUE(server.waitForLog("Disabling Database Backup"));
    EXPECT_THAT(server.logText(), testing::ContainsRegex("\\[ERROR\\] bdb [0-9]+ Dbenv backup failed rc 30\n"));
    EXPECT_TRUE(fs::exists(server.seen("BackupInProgress.tmp")));
}

TEST_F(BackupToDisk, AReadOnlyDiskLeavesTheLogFilesWhereTheyAre)
{
    ServerWithDisk server("mount -o remount,ro none .");
    ASSERT_TRUE(server.start());
    server.fill();
    EXPECT_EQ(server.act("UpdateDbBackup").value("__rc"), QVariant(200LL));
    EXPECT_TRUE(server.waitForLog("Done BDBHotBackupThread.backupLog"));
    EXPECT_THAT(server.logText(), testing::ContainsRegex("\\[ERROR\\] bdb [0-9]+ Error in creating dir " +
                                                         server.target() + "/__log__\n"));
    EXPECT_EQ(server.logText().find("Disabling"), std::string::npos);
    EXPECT_TRUE(fs::exists(server.home() + '/' + logName(1)));
}

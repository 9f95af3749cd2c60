#include "storage/bdbhotbackup.h"

#include "base/directorylock.h"
#include "hotbackupfixture.h"
#include "support/systemcallfilter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstddef>
#include <filesystem>
#include <fstream>
#include <optional>
#include <shared_mutex>
#include <string>
#include <vector>

namespace fs = std::filesystem;

using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::ElementsAre;
using testing::MatchesRegex;

TEST_F(HotBackup, FullBackupCopiesDeletesTheMarkerAndGoesOnShipping)
{
    put(1, 100);
    Settings::setBackupDisabled(1);
    EXPECT_EQ(thread().schedule(target(), BackupFull), 0);
    ASSERT_TRUE(log_->waitFor("Done BDBHotBackupThread.log_archive"));
    EXPECT_EQ(log_->lines(),
              (std::vector{"[INFO] Starting BDBHotBackupThread.backup"s, "[INFO] Done BDBHotBackupThread.backup"s,
                           "[INFO] Starting BDBHotBackupThread.log_archive"s,
                           "[INFO] Done BDBHotBackupThread.log_archive"s}));
    EXPECT_FALSE(fs::exists(target_ + Marker));
    EXPECT_TRUE(fs::exists(target_ + "/t.db"));
    EXPECT_TRUE(fs::exists(target_ + "/log.0000000001"));
    EXPECT_FALSE(fs::exists(target_ + "/__log__")) << "nothing to ship";
    EXPECT_EQ(Settings::backupDisabled(), 0) << "checkpoints keep the logs for the shipping";
}

TEST_F(HotBackup, FullBackupMakesTheTargetDirectoryButThenMissesTheMarker)
{
    const std::string fresh = directory_.file("fresh");
    EXPECT_EQ(thread().schedule(QString::fromStdString(fresh), BackupFull), 0);
    ASSERT_TRUE(log_->waitFor("Disabling Database Backup"));
    EXPECT_THAT(log_->lines(),
                ElementsAre("[INFO] Starting BDBHotBackupThread.backup", "[INFO] Done BDBHotBackupThread.backup",
                            MatchesRegex("\\[ERROR\\] bdb [0-9]+ Failed to del temp file from " + fresh),
                            "[INFO] Disabling Database Backup"));
    EXPECT_TRUE(fs::exists(fresh + "/log.0000000001")) << "the copy was made";
    EXPECT_TRUE(waitUntil([] { return Settings::backupDisabled() == 1; }));
}

TEST_F(HotBackup, AFailedCopyDisablesBackup)
{
    const std::string file = directory_.file("file");
    std::ofstream(file) << "in the way";
    EXPECT_EQ(thread().schedule(QString::fromStdString(file), BackupFull), 0);
    ASSERT_TRUE(log_->waitFor("Disabling Database Backup"));
    const std::vector<std::string> lines = log_->lines();
    EXPECT_EQ(lines.front(), "[INFO] Starting BDBHotBackupThread.backup");
    EXPECT_THAT(lines, testing::Contains(MatchesRegex("\\[ERROR\\] bdb [0-9]+ Dbenv backup failed rc [-0-9]+")));
    EXPECT_EQ(lines.back(), "[INFO] Disabling Database Backup");
    EXPECT_TRUE(waitUntil([] { return Settings::backupDisabled() == 1; }));
}

TEST_F(HotBackup, ShipsUnneededLogFiles)
{
    makeUnneededLogs();
    EXPECT_EQ(thread().schedule(target(), BackupShipLogs), 0);
    ASSERT_TRUE(log_->waitFor("Done BDBHotBackupThread.backupLog"));
    EXPECT_EQ(
        log_->lines(),
        (std::vector{"[INFO] Starting BDBHotBackupThread.log_archive"s, "[INFO] Done BDBHotBackupThread.log_archive"s,
                     "[INFO] Starting BDBHotBackupThread.backupLog 2"s, "[INFO] Done BDBHotBackupThread.backupLog"s}));
    for (const char* name : {"log.0000000001", "log.0000000002"}) {
        EXPECT_TRUE(fs::exists(target_ + "/__log__/" + name));
        EXPECT_FALSE(fs::exists(env_.file(name)));
    }
    EXPECT_TRUE(fs::exists(env_.file("log.0000000003")));
    EXPECT_TRUE(fs::exists(target_ + Marker)) << "only a full backup deletes it";
}

TEST_F(HotBackup, ShipsAgainAfterEveryPeriod)
{
    EXPECT_EQ(thread(1ms).schedule(target(), BackupShipLogs), 0);
    EXPECT_TRUE(log_->waitFor("Starting BDBHotBackupThread.log_archive", 3));
    makeUnneededLogs();
    EXPECT_TRUE(log_->waitFor("Done BDBHotBackupThread.backupLog"));
}

TEST_F(HotBackup, ATargetThatSomebodyHoldsForAWhileIsWaitedFor)
{
    EXPECT_EQ(thread(5ms).schedule(target(), BackupShipLogs), 0);
    ASSERT_TRUE(log_->waitFor("Done BDBHotBackupThread.log_archive"));
    {
        std::optional<Base::DirectoryLock> held;
        ASSERT_TRUE(waitUntil([&] { return held.emplace().lock(target_) == 0; })); // a cycle holds it for moments
        makeUnneededLogs();
        const std::size_t before = log_->count("[WARN] DB Backup target " + target_ + " cannot be used rc 16");
        ASSERT_TRUE(waitUntil(
            [&] { return log_->count("[WARN] DB Backup target " + target_ + " cannot be used rc 16") > before + 1; }));
        EXPECT_EQ(thread_->status().state, BDBBackupStatus::Shipping);
        EXPECT_EQ(Settings::backupDisabled(), 0);
        EXPECT_TRUE(fs::exists(env_.file("log.0000000001")));
        EXPECT_FALSE(fs::exists(target_ + "/__log__"));
        EXPECT_EQ(log_->count("log backup failed for"), 0U);
    }
    ASSERT_TRUE(log_->waitFor("Done BDBHotBackupThread.backupLog"));
    EXPECT_TRUE(fs::exists(target_ + "/__log__/log.0000000001"));
    EXPECT_FALSE(fs::exists(env_.file("log.0000000001")));
}

TEST_F(HotBackup, ATargetThatSomebodyHoldsFromTheBeginningIsRefused)
{
    Base::DirectoryLock held;
    ASSERT_EQ(held.lock(target_), 0);
    expectRefused(target_, BackupShipLogs, "log backup failed for " + target_, false);
    EXPECT_EQ(Settings::backupDisabled(), 1);
}

TEST_F(HotBackup, ALogDirectoryThatCannotBeMadeCountsAsDone)
{
    makeUnneededLogs();
    const std::string missing = directory_.file("missing");
    EXPECT_EQ(thread().schedule(QString::fromStdString(missing), BackupShipLogs), 0);
    ASSERT_TRUE(log_->waitFor("Done BDBHotBackupThread.backupLog"));
    EXPECT_THAT(log_->lines(), testing::Contains(MatchesRegex("\\[ERROR\\] bdb [0-9]+ Error in creating dir " +
                                                              missing + "/__log__")));
    EXPECT_TRUE(fs::exists(env_.file("log.0000000001")));
    EXPECT_EQ(Settings::backupDisabled(), 0);
}

TEST_F(HotBackup, ALogFileThatCannotBeMovedDisablesBackup)
{
    makeUnneededLogs();
    fs::create_directories(target_ + "/__log__/log.0000000001.del/x"); // neither a file nor removable
    fs::create_directories(target_ + "/__log__/log.0000000001/x");
    EXPECT_EQ(thread().schedule(target(), BackupShipLogs), 0);
    ASSERT_TRUE(log_->waitFor("Disabling Database Backup"));
    EXPECT_THAT(log_->lines(),
                ElementsAre("[INFO] Starting BDBHotBackupThread.log_archive",
                            "[INFO] Done BDBHotBackupThread.log_archive",
                            "[INFO] Starting BDBHotBackupThread.backupLog 2",
                            MatchesRegex("\\[ERROR\\] bdb [0-9]+ Error in moving log file .*/log.0000000001"),
                            MatchesRegex("\\[ERROR\\] bdb [0-9]+ log backup failed for " + target_),
                            "[INFO] Disabling Database Backup"));
    EXPECT_TRUE(fs::exists(env_.file("log.0000000001")));
    EXPECT_TRUE(waitUntil([] { return Settings::backupDisabled() == 1; }));
}

TEST_F(HotBackup, ShippingIsRefusedWhileTheThreadRuns)
{
    EXPECT_EQ(thread().schedule(target(), BackupShipLogs), 0);
    EXPECT_EQ(thread_->schedule("/elsewhere", BackupShipLogs), 1);
    EXPECT_EQ(log_->count("[WARN] thread is already running for target /elsewhere"), 1U);
}

TEST_F(HotBackup, AFullBackupReplacesAShipping)
{
    EXPECT_EQ(thread().schedule("/elsewhere", BackupShipLogs), 0);
    ASSERT_TRUE(log_->waitFor("Done BDBHotBackupThread.log_archive"));
    EXPECT_EQ(thread_->schedule(target(), BackupFull), 0);
    EXPECT_TRUE(waitUntil([&] { return !fs::exists(target_ + Marker); }));
}

TEST_F(HotBackup, AFullBackupIsRefusedWhileOneRuns)
{
    // The copy cannot end while commits are held up, so the second order surely meets it.
    {
        const std::shared_lock committing(env_->commitGate());
        EXPECT_EQ(thread().schedule(target(), BackupFull), 0);
        EXPECT_EQ(thread_->schedule("/elsewhere", BackupFull), 1);
        EXPECT_EQ(log_->count("[WARN] DB Backup is already running for " + target_), 1U);
        EXPECT_EQ(thread_->schedule("/elsewhere", BackupShipLogs), 1);
        EXPECT_EQ(log_->count("[WARN] thread is already running for target /elsewhere"), 1U);
        EXPECT_TRUE(fs::exists(target_ + Marker));
    }
    EXPECT_TRUE(waitUntil([&] { return !fs::exists(target_ + Marker); }));
}

TEST_F(HotBackup, StopEndsShippingAndLetsCheckpointsRemoveLogs)
{
    EXPECT_EQ(thread().schedule(target(), BackupShipLogs), 0);
    ASSERT_TRUE(log_->waitFor("Done BDBHotBackupThread.log_archive"));
    EXPECT_EQ(thread_->schedule(QString(), BackupStop), 0);
    EXPECT_EQ(log_->lines().back(), "[INFO] Disabling Database Backup");
    EXPECT_EQ(Settings::backupDisabled(), 1);
    // The thread ends by itself, so that a new order is accepted.
    EXPECT_TRUE(waitUntil([&] { return thread_->schedule(target(), BackupShipLogs) == 0; }));
    EXPECT_EQ(Settings::backupDisabled(), 0);
}

TEST_F(HotBackup, AStopThatFollowsAtOnceIsNotLost)
{
    thread();
    for (int i = 0; i < 50; ++i) {
        ASSERT_TRUE(waitUntil([&] { return thread_->schedule(target(), BackupShipLogs) == 0; }));
        ASSERT_EQ(thread_->schedule(QString(), BackupStop), 0);
        ASSERT_EQ(Settings::backupDisabled(), 1);
    }
    thread_.reset(); // waits for a thread that would never end
    EXPECT_EQ(Settings::backupDisabled(), 1);
}

TEST_F(HotBackup, WithoutAThreadItIsRefusedAndLogRemovalIsAsItWas)
{
    thread();
    for (const int disabled : {0, 1}) {
        Settings::setBackupDisabled(disabled);
        int refused = 0;
        if (!runWithFailingCalls({__NR_clone, __NR_clone3}, EAGAIN,
                                 [&] { refused = thread_->schedule(target(), BackupFull); }))
            GTEST_SKIP() << "this system has no filters for system calls";
        EXPECT_EQ(refused, 1);
        EXPECT_EQ(Settings::backupDisabled(), disabled);
    }
    EXPECT_EQ(log_->count("[WARN] DB Backup thread could not be started 11"), 2U);
    EXPECT_EQ(thread_->schedule(target(), BackupFull), 0) << "the next one finds nothing in its way";
    EXPECT_TRUE(waitUntil([&] { return !fs::exists(target_ + Marker); }));
}

TEST_F(HotBackup, AStopThatFollowsAFullBackupAtOnceLeavesTheCopyAndShipsNothing)
{
    constexpr std::size_t Backups = 30;
    thread();
    for (std::size_t i = 0; i < Backups; ++i) {
        makeMarker();
        ASSERT_TRUE(waitUntil([&] { return thread_->schedule(target(), BackupFull) == 0; }));
        ASSERT_EQ(thread_->schedule(QString(), BackupStop), 0);
        ASSERT_TRUE(waitUntil([&] { return !fs::exists(target_ + Marker); })) << "copy " << i;
    }
    thread_.reset();
    EXPECT_EQ(log_->count("Done BDBHotBackupThread.backup"), Backups);
    EXPECT_EQ(log_->count("log_archive"), 0U);
}

TEST_F(HotBackup, StopDuringAFullBackupStillCompletesIt)
{
    {
        const std::shared_lock committing(env_->commitGate());
        EXPECT_EQ(thread().schedule(target(), BackupFull), 0);
        ASSERT_TRUE(log_->waitFor("Starting BDBHotBackupThread.backup"));
        EXPECT_EQ(thread_->schedule(QString(), BackupStop), 0);
    }
    EXPECT_TRUE(waitUntil([&] { return !fs::exists(target_ + Marker); }));
    thread_.reset();
    EXPECT_EQ(log_->count("log_archive"), 0U) << "no shipping follows";
    EXPECT_EQ(Settings::backupDisabled(), 1);
}

TEST_F(HotBackup, TheDestructorWaitsForAFullBackup)
{
    put(1, 100);
    EXPECT_EQ(thread().schedule(target(), BackupFull), 0);
    ASSERT_TRUE(log_->waitFor("Starting BDBHotBackupThread.backup"));
    thread_.reset();
    EXPECT_EQ(log_->count("Done BDBHotBackupThread.backup"), 1U);
}

TEST_F(HotBackup, StopWhileIdleDisablesBackup)
{
    EXPECT_EQ(thread().schedule(QString(), BackupStop), 0);
    EXPECT_EQ(log_->lines(), std::vector{"[INFO] Disabling Database Backup"s});
    EXPECT_EQ(Settings::backupDisabled(), 1);
}

TEST_F(HotBackup, AListingThatFailsDisablesBackup)
{
    (void)env_->set_flags(DB_PANIC_ENVIRONMENT, 1);
    EXPECT_EQ(thread().schedule(target(), BackupShipLogs), 0);
    EXPECT_TRUE(log_->waitFor("Disabling Database Backup"));
    thread_.reset();
    (void)env_->set_flags(DB_PANIC_ENVIRONMENT, 0);
    std::vector<std::string> lines = log_->lines();
    // The thread that writes pages may meet the same failure in its first cycle.
    std::erase_if(lines, [](const std::string& line) {
        return line.find(" BDB: ") != std::string::npos || line.find(" cache flusher failed ") != std::string::npos;
    });
    EXPECT_THAT(lines, ElementsAre("[INFO] Starting BDBHotBackupThread.log_archive",
                                   MatchesRegex("\\[ERROR\\] bdb [0-9]+ log_archive listing failed for " + target_ +
                                                " rc -30973"),
                                   "[INFO] Disabling Database Backup"));
    EXPECT_EQ(Settings::backupDisabled(), 1);
}

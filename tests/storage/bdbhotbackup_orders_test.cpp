// Requests to back up, to ship and to stop that arrive while another one is being executed.
#include "storage/bdbhotbackup.h"

#include "hotbackupfixture.h"
#include "support/systemcallfilter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <filesystem>
#include <shared_mutex>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

using namespace std::string_literals;

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
    // The copy cannot finish while this holds the commit gate, so the second order always meets it.
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
    // The thread ends by itself, and then a new order is accepted.
    EXPECT_TRUE(waitUntil([&] { return thread_->schedule(target(), BackupShipLogs) == 0; }));
    EXPECT_EQ(Settings::backupDisabled(), 0);
}

TEST_F(HotBackup, AStopThatFollowsImmediatelyIsNotLost)
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

TEST_F(HotBackup, AStopRightAfterAFullBackupLeavesTheCopyAndShipsNothing)
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

} // namespace

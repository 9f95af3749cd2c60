// Shipping of the log files that checkpoints no longer need.
#include "storage/bdbhotbackup.h"

#include "base/directorylock.h"
#include "hotbackupfixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

using namespace std::chrono_literals;
using namespace std::string_literals;

using testing::ElementsAre;
using testing::MatchesRegex;

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
    // The second cycle begins when the first one has accepted the target.
    ASSERT_TRUE(waitUntil([&] { return log_->count("Starting BDBHotBackupThread.log_archive") >= 2; }));
    {
        std::optional<Base::DirectoryLock> held;
        ASSERT_TRUE(waitUntil([&] { return held.emplace().lock(target_) == 0; })); // a cycle holds it briefly
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

} // namespace

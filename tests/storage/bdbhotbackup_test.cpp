#include "storage/bdbhotbackup.h"

#include "hotbackupfixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

using namespace std::string_literals;
using testing::ElementsAre;
using testing::MatchesRegex;

TEST_F(HotBackup, FullBackupCopiesDeletesTheMarkerAndContinuesShipping)
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

} // namespace

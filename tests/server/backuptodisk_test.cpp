#include "support/serverwithdisk.h"

#include <optional>
#include <string>

namespace {

namespace fs = std::filesystem;
using testing::IsEmpty;

class BackupToDisk : public testing::Test {
protected:
    void SetUp() override
    {
        if (!mayMount())
            GTEST_SKIP() << "this system lets nobody mount a disk for himself";
    }

    /** Starts the server, fills an environment and begins to back it up to the disk, which `further` has prepared. */
    void begin(const char* action, const std::string& further)
    {
        server_.emplace(further);
        ASSERT_TRUE(server_->start());
        server_->fill();
        EXPECT_EQ(server_->act(action).value("__rc"), QVariant(200LL));
    }

    void expectError(const std::string& text)
    {
        EXPECT_THAT(server_->logText(), testing::ContainsRegex("\\[ERROR\\] bdb [0-9]+ " + text + "\n"));
    }

    std::optional<ServerWithDisk> server_;
};

} // namespace

TEST_F(BackupToDisk, AFullDiskFailsTheCopyAndTheServerContinues)
{
    ASSERT_NO_FATAL_FAILURE(begin("DbBackup", "touch BackupInProgress.tmp"));
    EXPECT_TRUE(server_->waitForLog("Disabling Database Backup"));
    expectError("Dbenv backup failed rc 28");
    EXPECT_TRUE(fs::exists(server_->seen("BackupInProgress.tmp")));
    EXPECT_EQ(server_->request("Scan", {{"TableName", server_->table()}, {"Count", true}}).value("__rc"),
              QVariant(200LL));
}

TEST_F(BackupToDisk, AFullDiskEndsTheShippingAndTheLogFileStays)
{
    ASSERT_NO_FATAL_FAILURE(begin("UpdateDbBackup", "mkdir __log__"));
    EXPECT_TRUE(server_->waitForLog("Disabling Database Backup"));
    expectError("Error in moving log file " + server_->home() + '/' + logName(1));
    expectError("log backup failed for " + server_->target());
    EXPECT_TRUE(fs::exists(server_->home() + '/' + logName(1)));
    EXPECT_THAT(namesIn(server_->seen("__log__")), IsEmpty()) << "half a file is of no use to anybody";
}

TEST_F(BackupToDisk, AReadOnlyDiskFailsTheCopy)
{
    ASSERT_NO_FATAL_FAILURE(begin("DbBackup", "touch BackupInProgress.tmp && mount -o remount,ro none ."));
    EXPECT_TRUE(server_->waitForLog("Disabling Database Backup"));
    expectError("Dbenv backup failed rc 30");
    EXPECT_TRUE(fs::exists(server_->seen("BackupInProgress.tmp")));
}

TEST_F(BackupToDisk, AReadOnlyDiskLeavesTheLogFilesWhereTheyAre)
{
    ASSERT_NO_FATAL_FAILURE(begin("UpdateDbBackup", "mount -o remount,ro none ."));
    EXPECT_TRUE(server_->waitForLog("Done BDBHotBackupThread.backupLog"));
    expectError("Error in creating dir " + server_->target() + "/__log__");
    EXPECT_EQ(server_->logText().find("Disabling"), std::string::npos);
    EXPECT_TRUE(fs::exists(server_->home() + '/' + logName(1)));
}

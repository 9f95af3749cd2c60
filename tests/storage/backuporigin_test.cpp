#include "storage/backuporigin.h"

#include "format/checksum.h"
#include "hotbackupfixture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <utility>

#include <unistd.h>

namespace fs = std::filesystem;

using namespace std::chrono_literals;
using namespace std::string_literals;
using testing::ElementsAre;

TEST_F(HotBackup, AFinishedCopyThatWasOpenedAsAnEnvironmentIsRefused)
{
    put(1, 100);
    backUp();
    openAsEnvironment(target_);
    makeMarker();
    const auto before = filesUnder(target_);
    expectRefused(target_, BackupFull, "Dbenv backup failed rc 39");
    EXPECT_EQ(filesUnder(target_), before);
}

TEST_F(HotBackup, TheCopyOfAnotherEnvironmentIsRefusedAndStaysAsItIs)
{
    put(1, 100);
    backUp();
    makeMarker();
    TempEnv other;
    (void)other.index("t.db");
    expectRefusedByOther(other.get(), BackupFull, "Dbenv backup failed rc 39");
    expectRefusedByOther(other.get(), BackupShipLogs, "log backup failed for " + target_);
}

TEST_F(HotBackup, AnUnfinishedCopyIsReplacedButNothingIsShippedAfterIt)
{
    put(1, 100);
    backUp();
    makeMarker();
    fs::rename(target_ + "/BackupFiles.list", target_ + "/BackupFiles.list.tmp");
    fs::resize_file(target_ + "/log.0000000001", fs::file_size(target_ + "/log.0000000001") - 100);
    expectRefused(target_, BackupShipLogs, "log backup failed for " + target_);
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000001", "t.db"));

    // What did not reach the disk before a loss of power reads as zeros.
    makeMarker();
    fs::rename(target_ + "/BackupFiles.list", target_ + "/BackupFiles.list.tmp");
    fs::resize_file(target_ + "/log.0000000001", 200);
    fs::resize_file(target_ + "/log.0000000001", 100'000'000);
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000001", "t.db"));
}

TEST_F(HotBackup, AnUnfinishedCopyThatWasOpenedAsAnEnvironmentIsRefused)
{
    put(1, 100);
    backUp();
    makeMarker();
    fs::rename(target_ + "/BackupFiles.list", target_ + "/BackupFiles.list.tmp");
    openAsEnvironment(target_);
    put(2, 10'000); // the environment's own log is the longer one
    const auto before = filesUnder(target_);
    expectRefused(target_, BackupFull, "Dbenv backup failed rc 39");
    EXPECT_EQ(filesUnder(target_), before);
}

TEST_F(HotBackup, TheSameEnvironmentIsKnownByItsDatabasesWhenTheLogFilesAreGone)
{
    put(1, 100);
    backUp();
    makeUnneededLogs();
    removeUnneededLogs();
    expectRefused(target_, BackupShipLogs, "log backup failed for " + target_); // a restore could not use the log files
    makeMarker();
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000003", "t.db"));
}

TEST_F(HotBackup, TheUnfinishedCopyOfAnotherEnvironmentIsRefusedAndStaysAsItIs)
{
    put(1, 100);
    fs::create_directory(target_ + "/log.0000000001"); // in the place of the log file
    expectCopyFails(target_, EISDIR);
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list.tmp", "BackupInProgress.tmp", "t.db"));
    TempEnv other;
    (void)other.index("t.db");
    expectRefusedByOther(other.get(), BackupFull, "Dbenv backup failed rc 39");
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000001", "t.db"));
}

TEST_F(HotBackup, AnUnfinishedCopyIsKnownByItsDatabasesWhenTheLogFilesAreGone)
{
    put(1, 100);
    fs::create_directory(target_ + "/log.0000000001");
    expectCopyFails(target_, EISDIR);
    makeUnneededLogs();
    removeUnneededLogs();
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000003", "t.db"));
}

TEST_F(HotBackup, ABackupOfTheSameEnvironmentInALaterStateIsRefusedAndStaysAsItIs)
{
    put(1, 100);
    backUp();
    const std::string home = directory_.makeDirectory("clone");
    for (const char* name : {"/t.db", "/log.0000000001"})
        fs::copy_file(target_ + name, home + name);
    makeUnneededLogs();
    ship(); // files 1 and 2
    makeMarker();
    const auto before = filesUnder(target_);

    BDBEnv clone(16, DB_CXX_NO_EXCEPTIONS);
    ASSERT_EQ(clone.open(QByteArray::fromStdString(home)), 0);
    const auto expectRefusedForClone = [&] {
        for (const auto& [mode, line] : {std::pair{BackupFull, "Dbenv backup failed rc 39"s},
                                         std::pair{BackupShipLogs, "log backup failed for " + target_}}) {
            thread_ = std::make_unique<BDBHotBackupThread>(&clone, 24h);
            expectRefusedByThread(target_, mode, line);
            EXPECT_TRUE(filesUnder(target_) == before);
        }
    };
    {
        SCOPED_TRACE("in the state of the copy");
        expectRefusedForClone();
    }
    BDBIndex index(&clone, DB_CXX_NO_EXCEPTIONS);
    ASSERT_EQ(clone.openDatabase(&index, "t.db", "data", DB_AUTO_COMMIT | DB_THREAD), 0);
    std::string value(700'001, 'y');
    Dbt data(value.data(), static_cast<u_int32_t>(value.size()));
    for (int i = 0; !fs::exists(home + "/log.0000000003"); ++i) {
        Dbt key(&i, sizeof i);
        ASSERT_EQ(index.put(nullptr, &key, &data, 0), 0);
    }
    {
        SCOPED_TRACE("further on, by another way");
        expectRefusedForClone();
    }
    ASSERT_EQ(clone.txn_checkpoint(0, 0, DB_FORCE), 0);
    char** removed = nullptr;
    ASSERT_EQ(clone.log_archive(&removed, DB_ARCH_REMOVE), 0);
    std::free(removed);
    ASSERT_FALSE(fs::exists(home + "/log.0000000002"));
    {
        SCOPED_TRACE("without the log files that were shipped");
        expectRefusedForClone();
    }
    ASSERT_EQ(index.close(0), 0);
}

TEST_F(HotBackup, ShippingContinuesAfterAnInterruptedMove)
{
    put(1, 100);
    backUp();
    makeUnneededLogs();
    fs::create_directory(target_ + "/__log__");
    const std::string begun = target_ + "/__log__/log.0000000001";
    fs::copy_file(env_.file("log.0000000001"), begun);
    fs::resize_file(begun, 100'000);
    ship();
    EXPECT_GT(fs::file_size(begun), 1'000'000U);
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "__log__/log.0000000001", "__log__/log.0000000002",
                                              "log.0000000001", "t.db"));
}

TEST_F(HotBackup, ShippingContinuesWhereItEnded)
{
    put(1, 100);
    backUp();
    const BackupList list = listOf(target_);
    makeUnneededLogs();
    ship();
    // Another file is full; the copy itself stays as it is listed.
    for (int i = 0; !fs::exists(env_.file("log.0000000004")); ++i)
        put(i, 1'000'000);
    ASSERT_EQ(env_->txn_checkpoint(0, 0, 0), 0);
    ship();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "__log__/log.0000000001", "__log__/log.0000000002",
                                              "__log__/log.0000000003", "log.0000000001", "t.db"));
    EXPECT_EQ(listOf(target_), list);
    EXPECT_EQ(list.files.at("log.0000000001").checksum, Checksum::of(readFile(target_ + "/log.0000000001")));

    // The file that was shipped last is replaced by a log file of another environment.
    fs::remove(target_ + "/__log__/log.0000000003");
    fs::copy_file(target_ + "/__log__/log.0000000002", target_ + "/__log__/log.0000000003");
    expectRefused(target_, BackupShipLogs, "log backup failed for " + target_);
}

TEST_F(HotBackup, ShippingThatWouldLeaveAGapIsRefused)
{
    makeUnneededLogs();
    ship(); // files 1 and 2, without a copy
    removeUnneededLogs();
    for (int i = 0; !fs::exists(env_.file("log.0000000004")); ++i)
        put(i, 1'000'000);
    removeUnneededLogs(); // and 3 was not shipped
    expectRefused(target_, BackupShipLogs, "log backup failed for " + target_);
    EXPECT_THAT(filesIn(target_),
                ElementsAre("BackupInProgress.tmp", "__log__/log.0000000001", "__log__/log.0000000002"));
}

#include "storage/backuptarget.h"

#include "hotbackupfixture.h"
#include "slowdisk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace fs = std::filesystem;

using namespace std::chrono_literals;
using testing::ElementsAre;

TEST_F(HotBackup, AFullBackupToTheOwnHomeIsRefusedByTheThread)
{
    put(1, 100);
    const auto logSize = fs::file_size(env_.file("log.0000000001"));
    const std::string link = directory_.file("link");
    fs::create_directory_symlink(env_.path(), link);
    for (const std::string& home : {env_.path(), link, env_.path() + "/."}) {
        SCOPED_TRACE(home);
        log_.reset();
        log_ = std::make_unique<LogCapture>(LogInfo);
        expectCopyFails(home, EBUSY);
        EXPECT_EQ(fs::file_size(env_.file("log.0000000001")), logSize) << "the copy would have cut it to nothing";
        EXPECT_GT(fs::file_size(env_.file("t.db")), 0U);
    }
}

TEST_F(HotBackup, AFullBackupToTheHomeOfAnotherOpenEnvironmentIsRefusedByTheThread)
{
    const int other = open(target_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    ASSERT_EQ(flock(other, LOCK_EX | LOCK_NB), 0); // as a process with an open environment does
    expectCopyFails(target_, EBUSY);
    close(other);
    EXPECT_EQ(std::distance(fs::directory_iterator(target_), fs::directory_iterator()), 1) << "only the marker";
    EXPECT_TRUE(fs::exists(target_ + Marker));
}

TEST_F(HotBackup, AFullBackupWithoutADirectoryIsRefusedByTheThread)
{
    expectCopyFails("", ENOENT);
}

TEST_F(HotBackup, AFullBackupToANameWithAZeroByteIsRefusedByTheThread)
{
    expectCopyFails(target_ + std::string("\0x", 2), ENOENT);
    EXPECT_TRUE(fs::exists(target_ + Marker));
}

TEST_F(HotBackup, ATargetThatMayBeAnEnvironmentIsRefusedAndStaysAsItIs)
{
    put(1, 100);
    for (const char* name : {"log.0000000001", "t.db", "x"}) {
        SCOPED_TRACE(name);
        const std::string other = directory_.makeDirectory(std::string("of-") + name);
        fs::copy_file(env_.file(name[0] == 'l' ? name : "t.db"), other + '/' + name);
        std::ofstream(other + Marker).flush();
        const auto before = filesUnder(other);
        expectRefused(other, BackupFull, "Dbenv backup failed rc 39");
        expectRefused(other, BackupShipLogs, "log backup failed for " + other);
        EXPECT_EQ(filesUnder(other), before);
    }
}

TEST_F(HotBackup, ADirectoryInTheTargetThatTheCopyWouldWriteIntoIsRefused)
{
    (void)env_.index("sub/t");
    fs::create_directory(target_ + "/sub");
    expectRefused(target_, BackupFull, "Dbenv backup failed rc 39");
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupInProgress.tmp"));
}

TEST_F(HotBackup, AListThatIsDamagedIsRefused)
{
    put(1, 100);
    backUp();
    makeMarker();
    fs::resize_file(target_ + "/BackupFiles.list", fs::file_size(target_ + "/BackupFiles.list") - 1);
    const auto before = filesUnder(target_);
    expectRefused(target_, BackupFull, "Dbenv backup failed rc 39");
    expectRefused(target_, BackupShipLogs, "log backup failed for " + target_);
    EXPECT_EQ(filesUnder(target_), before);
}

TEST_F(HotBackup, AnUnfinishedListThatCannotBeReadLetsNothingBeReplaced)
{
    put(1, 100);
    for (const std::string name : {"log.0000000001", "t.db", "x.db", "__log__/log.0000000001"}) {
        for (const char* list : {"", "quorva-backup-list 1\n"}) {
            SCOPED_TRACE(name + " beside \"" + list + '"');
            const std::string other = directory_.makeDirectory("other");
            fs::create_directories(fs::path(other + '/' + name).parent_path());
            fs::copy_file(env_.file(name.ends_with(".db") ? "t.db" : "log.0000000001"), other + '/' + name);
            std::ofstream(other + "/BackupFiles.list.tmp") << list;
            const auto before = filesUnder(other);
            expectRefused(other, BackupFull, "Dbenv backup failed rc 39");
            EXPECT_EQ(filesUnder(other), before);
            fs::remove_all(other);
        }
    }
    std::ofstream(target_ + "/BackupFiles.list.tmp").flush();
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000001", "t.db"));
}

TEST_F(HotBackup, AFileOfSomebodyElseIsNotMistakenForTheCopys)
{
    put(1, 100);
    backUp();
    makeMarker();
    (void)env_.index("late");
    std::ofstream(target_ + "/late") << "precious";
    for (const char* list : {"BackupFiles.list", "BackupFiles.list.tmp"}) {
        SCOPED_TRACE(list);
        fs::rename(target_ + "/BackupFiles.list", target_ + '/' + list);
        const auto before = filesUnder(target_);
        for (int attempt = 0; attempt < 3; ++attempt) {
            expectRefused(target_, BackupFull, "Dbenv backup failed rc 39");
            EXPECT_EQ(filesUnder(target_), before);
        }
    }
}

TEST_F(HotBackup, AFileThatSomebodyPutsThereDuringTheCopyIsNeverRemoved)
{
    put(1, 100);
    {
        const CopyInterrupted interrupted(env_.get(), [this] {
            (void)env_.index("late");
            std::ofstream(target_ + "/late") << "precious";
        });
        expectCopyFails(target_, EEXIST);
        thread_.reset();
    }
    for (int attempt = 0; attempt < 3; ++attempt)
        expectRefused(target_, BackupFull, "Dbenv backup failed rc 39");
    EXPECT_EQ(readFile(target_ + "/late"), "precious");
}

TEST_F(HotBackup, WhereverAServerEndsWhileDatabasesComeIntoBeingTheNextCopyIsMade)
{
    put(1, 100);
    std::vector<std::string> states; // copies of the target, oldest first
    {
        const SlowDisk disk(target_, [&] {
            states.push_back(directory_.file("state" + std::to_string(states.size())));
            fs::copy(target_, states.back(), fs::copy_options::recursive);
        });
        const CopyInterrupted interrupted(env_.get(), [this] { (void)env_.index("late/t"); });
        backUp();
    }
    for (const std::string& state : states) {
        SCOPED_TRACE(testing::PrintToString(filesIn(state)));
        target_ = state;
        makeMarker();
        backUp();
        EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "late/t", "log.0000000001", "t.db"));
    }
}

TEST_F(HotBackup, ADirectoryThatTheCopyMadeGoesWithItsLastDatabase)
{
    put(1, 100);
    (void)env_.index("sub/t");
    backUp();
    ASSERT_TRUE(fs::exists(target_ + "/sub/t"));
    fs::rename(env_.file("sub"), directory_.file("away"));
    makeMarker();
    backUp();
    EXPECT_FALSE(fs::exists(target_ + "/sub"));
    fs::rename(directory_.file("away"), env_.file("sub"));
    makeMarker();
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000001", "sub/t", "t.db"));
}

TEST_F(HotBackup, ATargetInTheEnvironmentsOwnDirectoryIsRefused)
{
    put(1, 100);
    const std::string link = directory_.file("link");
    fs::create_directory_symlink(env_.path(), link);
    const std::string below = env_.file("backup");
    for (const std::string& target : {below, below + "/deeper", link + "/backup",
                                      env_.path() + "/../" + fs::path(env_.path()).filename().string() + "/backup"}) {
        expectRefused(target, BackupFull, "Dbenv backup failed rc 16", false);
        expectRefused(target, BackupShipLogs, "log backup failed for " + target, false);
        EXPECT_EQ(log_->count("[WARN] DB Backup target " + target + " cannot be used rc 16"), 1U);
    }
    EXPECT_FALSE(fs::exists(below));
}

TEST_F(HotBackup, ATargetThatAnotherBackupWritesToIsRefused)
{
    TempEnv other;
    (void)other.index("t.db");
    put(1, 100);
    {
        const CopyInterrupted interrupted(env_.get(), [&] {
            BDBHotBackupThread second(other.get(), 24h);
            const LogCapture log(LogInfo);
            EXPECT_EQ(second.schedule(target(), BackupFull), 0);
            EXPECT_TRUE(log.waitFor("Dbenv backup failed rc 16"));
        });
        EXPECT_EQ(thread().schedule(target(), BackupFull), 0);
        EXPECT_TRUE(waitUntil([&] { return !fs::exists(target_ + Marker); }));
        thread_.reset();
    }
    EXPECT_EQ(listOf(target_).home, env_.path());
}

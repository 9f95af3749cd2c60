#include "storage/environmentcopy.h"

#include "format/checksum.h"
#include "hotbackupfixture.h"
#include "slowdisk.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include <unistd.h>

namespace fs = std::filesystem;

using namespace std::chrono_literals;
using testing::ElementsAre;

TEST_F(HotBackup, AFullBackupOfAnEnvironmentInWhichNothingHappenedYet)
{
    const TempDir home;
    BDBEnv fresh(16, DB_CXX_NO_EXCEPTIONS);
    // Not opened as by the server, whose environments write a checkpoint immediately.
    ASSERT_EQ(fresh.DbEnv::open(home.path().c_str(),
                                DB_CREATE | DB_RECOVER | DB_INIT_LOCK | DB_INIT_LOG | DB_INIT_MPOOL | DB_INIT_TXN |
                                    DB_PRIVATE | DB_THREAD,
                                0),
              0);
    BDBHotBackupThread thread(&fresh, 24h);
    EXPECT_EQ(thread.schedule(target(), BackupFull), 0);
    EXPECT_TRUE(log_->waitFor("Done BDBHotBackupThread.log_archive"));
    EXPECT_FALSE(fs::exists(target_ + Marker)) << log_->text();
    EXPECT_TRUE(fs::exists(target_ + "/log.0000000001"));
}

TEST_F(HotBackup, AFullBackupReplacesTheLogFilesOfEarlierOnesInTheSameDirectory)
{
    put(1, 100);
    backUp();
    makeUnneededLogs();
    EXPECT_EQ(thread().schedule(target(), BackupShipLogs), 0);
    ASSERT_TRUE(log_->waitFor("Done BDBHotBackupThread.backupLog"));
    thread_.reset();
    ASSERT_TRUE(fs::exists(target_ + "/__log__/log.0000000002"));

    makeMarker();
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000003", "t.db"));
}

TEST_F(HotBackup, AFullBackupFailsWhenTheLogFilesThatItNeedsAreRemovedMeanwhile)
{
    put(1, 100);
    const CopyInterrupted interrupted(env_.get(), [this] {
        makeUnneededLogs();   // the pages that were copied by then are as they were before that
        removeUnneededLogs(); // as checkpoints do once a backup was stopped
    });
    expectCopyFails(target_, ENOENT);
    EXPECT_TRUE(fs::exists(target_ + Marker)) << "a restore refuses it";
}

TEST_F(HotBackup, AFullBackupDoesNotMindThatLogFilesGoWhichNobodyNeeded)
{
    makeUnneededLogs();
    {
        const CopyInterrupted interrupted(env_.get(), [this] { removeUnneededLogs(); });
        backUp();
    }
    EXPECT_FALSE(fs::exists(env_.file("log.0000000001")));
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000003", "t.db"));
}

TEST_F(HotBackup, TheListHasEveryFileWithItsSizeAndChecksum)
{
    put(1, 100);
    (void)env_.index("log.events");
    (void)env_.index("sub/deep/t");
    std::ofstream(env_.file("notes")) << "no database of anybody";
    backUp();
    const BackupList list = listOf(target_);
    std::vector<std::string> names;
    for (const auto& [name, file] : list.files) {
        names.push_back(name);
        const std::string bytes = readFile(target_ + '/' + name);
        EXPECT_EQ(file.size, bytes.size()) << name;
        EXPECT_EQ(file.checksum, Checksum::of(bytes)) << name;
    }
    EXPECT_THAT(names, ElementsAre("log.0000000001", "log.events", "sub/deep/t", "t.db"));
    names.insert(names.begin(), "BackupFiles.list");
    EXPECT_EQ(filesIn(target_), names);
    EXPECT_EQ(list.home, env_.path());
    EXPECT_EQ(list.firstLog, 1U);
    EXPECT_EQ(list.lastLog, 1U);
    EXPECT_EQ(list.lastLogSize, fs::file_size(target_ + "/log.0000000001"));
}

TEST_F(HotBackup, ADatabaseBelowALinkIsCopiedAndOneOfAnotherEnvironmentIsNot)
{
    const std::string elsewhere = directory_.makeDirectory("elsewhere");
    fs::create_directory_symlink(elsewhere, env_.file("link"));
    fs::create_directory_symlink(env_.path(), env_.file("circle"));
    (void)env_.index("link/t");
    fs::create_directory(env_.file("other"));
    fs::copy_file(elsewhere + "/t", env_.file("other/t"));
    std::ofstream(env_.file("other/log.0000000001"));
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "link/t", "log.0000000001"));
}

TEST_F(HotBackup, ADatabaseIsCopiedWhateverABackupLeftBesideIt)
{
    // A request for a backup to that directory creates the marker there before the server refuses it.
    for (const char* leftover : {"BackupInProgress.tmp", "BackupFiles.list", "BackupFiles.list.tmp"}) {
        const std::string name = std::string("sub-") + leftover;
        (void)env_.index(QByteArray::fromStdString(name + "/t"));
        std::ofstream(env_.file(name + '/' + leftover));
    }
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000001", "sub-BackupFiles.list.tmp/t",
                                              "sub-BackupFiles.list/t", "sub-BackupInProgress.tmp/t"));
}

TEST_F(HotBackup, ADatabaseIsCopiedByTheNameOfItsDirectoryAndNotOfALinkToIt)
{
    fs::create_directory(env_.file("sub"));
    const auto link = [this](const std::string& to, const std::string& name) {
        fs::create_directory_symlink(to, env_.file(name));
    };
    const std::string elsewhere = directory_.makeDirectory("elsewhere");
    fs::create_directory_symlink(env_.file("sub"), elsewhere + "/back");
    link(elsewhere, "link");
    for (const char* name : {"a", "b", "c", "d", "x", "y", "z"}) // one of them is found before the directory
        link("sub", name);
    (void)env_.index("sub/t");
    (void)env_.index("link/t");
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "link/t", "log.0000000001", "sub/t"));
}

TEST_F(HotBackup, DatabasesThatComeIntoBeingDuringTheCopyAreInIt)
{
    put(1, 100);
    {
        const CopyInterrupted interrupted(env_.get(), [this] { (void)env_.index("late/t"); });
        backUp();
    }
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "late/t", "log.0000000001", "t.db"));
    EXPECT_TRUE(listOf(target_).files.contains("late/t"));
}

TEST_F(HotBackup, HoldsEverythingThatWasCommittedBeforeTheMarkerWasGone)
{
    std::atomic<bool> stop{false};
    std::atomic<int> committed{-1};
    (void)env_.index("t.db");
    std::thread writer([&] {
        for (int i = 0; !stop; ++i) {
            put(i, 200);
            committed = i;
        }
    });
    ASSERT_TRUE(waitUntil([&] { return committed > 100; }));
    EXPECT_EQ(thread().schedule(target(), BackupFull), 0);
    int last = -1;
    for (int now = committed; fs::exists(target_ + Marker); now = committed)
        last = now; // it was there after this one had been acknowledged
    stop = true;
    writer.join();
    thread_.reset();

    // Recover the copy, as after the loss of a disk.
    DbEnv restored(DB_CXX_NO_EXCEPTIONS);
    ASSERT_EQ(restored.open(target_.c_str(),
                            DB_CREATE | DB_RECOVER_FATAL | DB_INIT_LOCK | DB_INIT_LOG | DB_INIT_MPOOL | DB_INIT_TXN |
                                DB_PRIVATE,
                            0),
              0);
    {
        Db db(&restored, DB_CXX_NO_EXCEPTIONS);
        ASSERT_EQ(db.open(nullptr, "t.db", "data", DB_BTREE, DB_RDONLY, 0), 0);
        for (int i = 0; i <= last; ++i) {
            Dbt key(&i, sizeof i);
            Dbt data;
            ASSERT_EQ(db.get(nullptr, &key, &data, 0), 0) << i << " of " << last;
        }
        EXPECT_EQ(db.close(0), 0);
    }
    EXPECT_EQ(restored.close(0), 0);
}

TEST_F(HotBackup, EverythingIsOnDiskBeforeTheMarkerGoes)
{
    put(1, 100);
    (void)env_.index("sub/t");
    std::set<std::string> synced;
    bool markerThere = true;
    {
        const SlowDisk disk(target_, [&] {
            markerThere = fs::exists(target_ + Marker);
            if (markerThere)
                synced.insert(SlowDisk::lastSynced());
        });
        backUp();
    }
    const std::string t = target_;
    EXPECT_THAT(synced, testing::IsSupersetOf({t, t + "/sub", t + "/t.db", t + "/sub/t", t + "/log.0000000001",
                                               t + "/BackupFiles.list.new"}));
    EXPECT_FALSE(markerThere) << "the last is the directory without the marker";
    EXPECT_EQ(SlowDisk::lastSynced(), t);
}

#include "storage/bdbhotbackup.h"

#include "format/checksum.h"
#include "hotbackupfixture.h"
#include "slowdisk.h"
#include "storage/logtail.h"
#include "support/blockedcall.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

namespace fs = std::filesystem;

using testing::ElementsAre;

TEST_F(HotBackup, CommitsContinueWhileASlowTargetIsWaitedFor)
{
    put(1, 100);
    // Whenever the backup waits for the target's disk while nothing commits, the wait lasts until something does.
    std::atomic<int> tries{0};
    const SlowDisk disk(target_, [&] {
        if (tries < 2 && !commitsAreFree()) {
            put(++tries + 1, 100);
        }
    });
    EXPECT_EQ(thread().schedule(target(), BackupFull), 0);
    ASSERT_TRUE(log_->waitFor("Done BDBHotBackupThread.log_archive")) << log_->text();
    thread_.reset();
    EXPECT_EQ(tries, 2);
    EXPECT_FALSE(fs::exists(target_ + Marker));
    EXPECT_EQ(log_->count("Done BDBHotBackupThread.backup"), 1U);
    const BackupList list = listOf(target_);
    LogPosition end;
    ASSERT_EQ(LogTail::flushedPosition(env_.get(), &end), 0);
    EXPECT_EQ(list.lastLogSize, end.offset) << "with all that was committed meanwhile";
    EXPECT_EQ(list.files.at("log.0000000001").checksum, Checksum::of(readFile(target_ + "/log.0000000001")));
}

TEST_F(HotBackup, ATargetThatIsSlowForGoodFailsAndDoesNotHoldUpCommits)
{
    put(1, 100);
    std::atomic<int> committed{1};
    const SlowDisk disk(target_, [&] {
        if (!commitsAreFree())
            put(++committed, 100);
    });
    expectCopyFails(target_, ETIMEDOUT);
    EXPECT_EQ(committed, 6) << "one in each of five tries";
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list.tmp", "BackupInProgress.tmp", "t.db"));
}

TEST_F(HotBackup, AfterACopyThatFailedOnASlowTargetTheNextOneIsMade)
{
    put(1, 100);
    {
        int committed = 1;
        const SlowDisk disk(target_, [&] {
            if (!commitsAreFree())
                put(++committed, 100);
        });
        expectCopyFails(target_, ETIMEDOUT);
        thread_.reset();
    }
    makeUnneededLogs();
    removeUnneededLogs(); // as checkpoints do after a failed backup
    backUp();
    EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000003", "t.db"));
    EXPECT_EQ(listOf(target_).lastLogSize, fs::file_size(target_ + "/log.0000000003"));
}

TEST_F(HotBackup, WhereverAServerEndsOnASlowTargetTheNextCopyIsMade)
{
    put(1, 100);
    std::vector<std::string> states; // of the target, in the order of its history
    {
        int committed = 1;
        const SlowDisk disk(target_, [&] {
            states.push_back(directory_.file("state" + std::to_string(states.size())));
            fs::copy(target_, states.back(), fs::copy_options::recursive);
            if (committed < 3 && !commitsAreFree())
                put(++committed, 100);
        });
        backUp();
        EXPECT_EQ(committed, 3) << "two tries were lost";
    }
    for (const std::string& state : states) {
        SCOPED_TRACE(testing::PrintToString(filesIn(state)));
        target_ = state;
        makeMarker();
        backUp();
        EXPECT_THAT(filesIn(target_), ElementsAre("BackupFiles.list", "log.0000000001", "t.db"));
    }
}

TEST_F(HotBackup, AFullBackupIsAcceptedAsSoonAsTheMarkerOfTheOneBeforeIsGone)
{
    put(1, 100);
    const std::string next = directory_.makeDirectory("next");
    std::ofstream(next + Marker);
    // The target's disk blocks until another backup has been requested by somebody who saw the marker disappear.
    std::optional<BlockedCall<int>> order;
    std::atomic<bool> ordered{false};
    const SlowDisk disk(target_, [&] {
        if (ordered || fs::exists(target_ + Marker))
            return;
        EXPECT_EQ(thread_->status().state, BDBBackupStatus::Copying) << "the deletion may not be on disk yet";
        order.emplace([&] { return thread_->schedule(QString::fromStdString(next), BackupFull); });
        ordered = true;
        EXPECT_TRUE(waitUntil([&] { return order->sleeps() || log_->count("DB Backup is already running") > 0; }));
    });
    EXPECT_EQ(thread().schedule(target(), BackupFull), 0);
    ASSERT_TRUE(waitUntil([&] { return ordered.load(); })) << log_->text();
    EXPECT_EQ(order->get(), 0) << log_->text();
    EXPECT_TRUE(waitUntil([&] { return !fs::exists(next + Marker); })) << log_->text();
    thread_.reset();
    EXPECT_EQ(log_->count("Done BDBHotBackupThread.backup"), 2U);
    EXPECT_TRUE(fs::exists(target_ + "/BackupFiles.list"));
    EXPECT_TRUE(fs::exists(next + "/BackupFiles.list"));
}

/* What a backup reports while it is running. */
#include "hotbackupfixture.h"

#include <optional>

#include <sys/stat.h>

namespace {

using Time = BDBBackupStatus::Time;

/** When something was last written to a file. */
Time writtenAt(const std::string& path)
{
    struct stat status {};
    EXPECT_EQ(stat(path.c_str(), &status), 0) << path;
    const auto since1970 =
        std::chrono::seconds(status.st_mtim.tv_sec) + std::chrono::nanoseconds(status.st_mtim.tv_nsec);
    return Time(std::chrono::duration_cast<Time::duration>(since1970));
}

TEST_F(HotBackup, HasCopiedUntilTheTimeFromWhichOnNothingWasCommitted)
{
    put(1, 100);
    const Time before = std::chrono::system_clock::now();
    std::optional<BDBBackupStatus> inTheMiddle;
    {
        const CopyInterrupted interrupted(env_.get(), [&] { inTheMiddle = thread_->status(); });
        EXPECT_EQ(thread().status().state, BDBBackupStatus::None);
        EXPECT_EQ(thread_->schedule(target(), BackupFull), 0);
        ASSERT_TRUE(waitUntil([&] { return thread_->status().state == BDBBackupStatus::Shipping; })) << log_->text();
    }
    ASSERT_TRUE(inTheMiddle.has_value());
    EXPECT_EQ(inTheMiddle->state, BDBBackupStatus::Copying);
    EXPECT_EQ(inTheMiddle->target, target());
    EXPECT_GE(inTheMiddle->since, before);
    EXPECT_FALSE(inTheMiddle->until.has_value());

    const BDBBackupStatus shipping = thread_->status();
    EXPECT_EQ(shipping.target, target());
    EXPECT_EQ(shipping.since, inTheMiddle->since);
    EXPECT_GE(shipping.until, shipping.since);
    EXPECT_LE(shipping.until, std::chrono::system_clock::now());
    EXPECT_EQ(thread_->schedule({}, BackupStop), 0);
    EXPECT_TRUE(waitUntil([&] { return thread_->status().state == BDBBackupStatus::None; }));
    EXPECT_FALSE(thread_->status().since.has_value());
    EXPECT_FALSE(thread_->status().until.has_value());
}

TEST_F(HotBackup, HasShippedUntilTheLastRecordOfTheLastLogFile)
{
    EXPECT_EQ(thread(std::chrono::milliseconds(1)).schedule(target(), BackupShipLogs), 0);
    ASSERT_TRUE(log_->waitFor("Done BDBHotBackupThread.log_archive"));
    EXPECT_EQ(thread_->status().state, BDBBackupStatus::Shipping);
    EXPECT_FALSE(thread_->status().until.has_value()) << "nothing was shipped yet";
    thread_.reset();
    makeUnneededLogs();
    const Time written = writtenAt(env_.file("log.0000000002"));
    EXPECT_EQ(thread().schedule(target(), BackupShipLogs), 0);
    ASSERT_TRUE(waitUntil([&] { return thread_->status().until.has_value(); })) << log_->text();
    EXPECT_EQ(thread_->status().until, written);
    EXPECT_FALSE(std::filesystem::exists(env_.file("log.0000000002")));
}

} // namespace

#include "storage/bdblocker.h"

#include "loglines.h"
#include "storage/bdbtxn.h"
#include "support/tempenv.h"

#include <gmock/gmock.h>

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class BDBLockerTest : public testing::Test {
protected:
    TempEnv env_;
};

TEST_F(BDBLockerTest, IsOfType7)
{
    EXPECT_EQ(BDBLocker(nullptr).type(), 7);
}

TEST_F(BDBLockerTest, HoldsANameUntilUnlocked)
{
    BDBLocker locker(env_.get());
    EXPECT_TRUE(env_->lockNames().isEmpty());
    EXPECT_EQ(locker.lock("orders"), 0);
    EXPECT_EQ(env_->lockNames(), (QHash<QString, int>{{"orders", 1}}));
    EXPECT_EQ(locker.unlock(), 0);
    EXPECT_TRUE(env_->lockNames().isEmpty());
    EXPECT_EQ(locker.lock("orders"), 0);
}

TEST_F(BDBLockerTest, ReportsEveryAttempt)
{
    LogCapture log;
    BDBLocker first(env_.get());
    BDBLocker second(env_.get());
    EXPECT_EQ(first.lock(QString::fromUtf8("orders \xc3\xa4")), 0);
    EXPECT_EQ(second.lock(QString::fromUtf8("orders \xc3\xa4")), DB_LOCK_NOTGRANTED);
    EXPECT_THAT(ownLines(log), ElementsAre("[INFO] Locking orders \xc3\xa4", "[INFO] Locking orders \xc3\xa4"));
}

TEST_F(BDBLockerTest, SecondLockOfOneObjectIs12AndNotLogged)
{
    BDBLocker locker(env_.get());
    ASSERT_EQ(locker.lock("orders"), 0);
    LogCapture log;
    EXPECT_EQ(locker.lock("orders"), 12);
    EXPECT_EQ(locker.lock("others"), 12);
    EXPECT_THAT(ownLines(log), IsEmpty());
    EXPECT_EQ(env_->lockNames(), (QHash<QString, int>{{"orders", 1}}));
}

TEST_F(BDBLockerTest, NameHeldElsewhereIsRefusedWithoutWaiting)
{
    BDBLocker first(env_.get());
    BDBLocker second(env_.get());
    ASSERT_EQ(first.lock("orders"), 0);
    EXPECT_EQ(second.lock("orders"), -30992);
    EXPECT_EQ(second.unlock(), 22); // the refused one holds nothing, and so frees nothing
    EXPECT_EQ(env_->lockNames().size(), 1);
    EXPECT_EQ(second.lock("others"), 0);
    EXPECT_EQ(first.unlock(), 0);
    EXPECT_EQ(env_->lockNames(), (QHash<QString, int>{{"others", 1}}));
}

TEST_F(BDBLockerTest, NamesOfAnotherEnvironmentDoNotMatter)
{
    TempEnv other;
    BDBLocker first(env_.get());
    BDBLocker second(other.get());
    EXPECT_EQ(first.lock("orders"), 0);
    EXPECT_EQ(second.lock("orders"), 0);
}

TEST_F(BDBLockerTest, UnlockOfNothingIs22)
{
    LogCapture log;
    BDBLocker locker(env_.get());
    EXPECT_EQ(locker.unlock(), 22);
    ASSERT_EQ(locker.lock("orders"), 0);
    EXPECT_EQ(locker.unlock(), 0);
    EXPECT_EQ(locker.unlock(), 22);
    EXPECT_THAT(ownLines(log), ElementsAre("[INFO] Locking orders"));
}

TEST_F(BDBLockerTest, DestructorUnlocks)
{
    auto locker = std::make_unique<BDBLocker>(env_.get());
    ASSERT_EQ(locker->lock("orders"), 0);
    locker.reset();
    EXPECT_TRUE(env_->lockNames().isEmpty());
}

TEST_F(BDBLockerTest, UsesTheMutexOfTheEnvironmentsTable)
{
    BDBLocker locker(env_.get());
    std::atomic<bool> locked{false};
    LogCapture log;
    env_->mutex().lock();
    std::thread thread([&] {
        EXPECT_EQ(locker.lock("orders"), 0);
        locked = true;
    });
    EXPECT_TRUE(log.waitFor("Locking orders")); // it gets that far
    EXPECT_FALSE(locked);
    env_->mutex().unlock();
    thread.join();
    EXPECT_TRUE(locked);
}

TEST_F(BDBLockerTest, OneOfManyThreadsGetsAName)
{
    constexpr int Threads = 8;
    std::atomic<int> granted{0};
    std::atomic<int> ready{0};
    std::vector<std::unique_ptr<BDBLocker>> lockers;
    for (int i = 0; i < Threads; ++i)
        lockers.push_back(std::make_unique<BDBLocker>(env_.get()));
    std::vector<std::thread> threads;
    for (const auto& locker : lockers)
        threads.emplace_back([&] {
            ++ready;
            while (ready < Threads)
                std::this_thread::yield();
            granted += locker->lock("orders") == 0 ? 1 : 0;
        });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(granted, 1);
}

} // namespace

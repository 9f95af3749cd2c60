#include "storage/bdbregistry.h"

#include "loglines.h"
#include "registryfixture.h"
#include "support/background.h"
#include "support/blockedcall.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>

#include <future>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class LockEnvTest : public RegistryFixture {
protected:
    void SetUp() override { (void)openedEnv(home_); }

    /** Whether another thread gets the shared lock, which it releases immediately. */
    bool isSharable()
    {
        return inBackground([this] {
                   const auto lock = Registry::lockEnv(&registry_, table_, false);
                   if (lock)
                       lock->unlock();
                   return lock != nullptr;
               })
            .get();
    }

    /** Another thread that takes the exclusive lock and releases it immediately. */
    BlockedCall<std::shared_ptr<AccessLock>> exclusiveElsewhere()
    {
        return BlockedCall([this] {
            auto lock = Registry::lockEnv(&registry_, table_, true);
            if (lock)
                lock->unlock();
            return lock;
        });
    }

    const QByteArray home_ = makeHome();
    const QByteArray table_ = home_ + "|orders";
};

TEST_F(LockEnvTest, SharedHoldsDoNotExcludeEachOther)
{
    LogCapture log;
    const auto lock = Registry::lockEnv(&registry_, table_, false);
    ASSERT_NE(lock, nullptr);
    EXPECT_TRUE(isSharable());
    lock->unlock();
    EXPECT_THAT(ownLines(log), IsEmpty());
}

TEST_F(LockEnvTest, SharedFailsImmediatelyAndSilentlyWhileAWriterHoldsTheLock)
{
    const auto lock = Registry::lockEnv(&registry_, table_, true);
    ASSERT_NE(lock, nullptr);
    LogCapture log;
    EXPECT_FALSE(isSharable());
    EXPECT_THAT(ownLines(log), IsEmpty());
    lock->unlock();
    EXPECT_TRUE(isSharable());
}

TEST_F(LockEnvTest, ExclusiveWaitsForSharedHoldsAndKeepsNewOnesOut)
{
    const auto lock = Registry::lockEnv(&registry_, table_, false);
    ASSERT_NE(lock, nullptr);
    auto writer = exclusiveElsewhere();
    EXPECT_TRUE(waitUntil([&] { return !isSharable(); })); // the other thread waits
    EXPECT_TRUE(waitUntil([&] { return writer.sleeps(); }));
    lock->unlock();
    EXPECT_EQ(writer.get(), lock);
    EXPECT_TRUE(isSharable());
}

TEST_F(LockEnvTest, AThreadMayTakeItsHoldAgain)
{
    const auto first = Registry::lockEnv(&registry_, table_, false);
    const auto second = Registry::lockEnv(&registry_, table_, false);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(first, second);
    Registry::unlockEnv(&registry_, table_);
    auto writer = exclusiveElsewhere();
    EXPECT_TRUE(waitUntil([&] { return !isSharable(); })); // one shared hold is left
    Registry::unlockEnv(&registry_, table_);
    EXPECT_NE(writer.get(), nullptr);
}

TEST_F(LockEnvTest, UnknownEnvironmentIsReportedAndNotLocked)
{
    LogCapture log;
    EXPECT_EQ(Registry::lockEnv(&registry_, "/missing|orders", false), nullptr);
    EXPECT_EQ(Registry::lockEnv(&registry_, "/missing", true), nullptr);
    EXPECT_EQ(Registry::lockEnv(&registry_, "|orders", false), nullptr);
    EXPECT_EQ(Registry::lockEnv(&registry_, "", false), nullptr);
    EXPECT_THAT(ownLines(log), ElementsAre("[ERROR] bdb # Failed to find lock for dbid: env::/missing",
                                           "[ERROR] bdb # Failed to find lock for dbid: env::/missing",
                                           "[ERROR] bdb # Failed to find lock for dbid: env::",
                                           "[ERROR] bdb # Failed to find lock for dbid: env::"));
}

TEST_F(LockEnvTest, TableNameEndsBeforeItsLastBar)
{
    const QByteArray odd = makeHome("a|b");
    (void)openedEnv(odd);
    const auto lock = Registry::lockEnv(&registry_, odd + "|orders", true);
    ASSERT_NE(lock, nullptr);
    EXPECT_NE(Registry::lockEnv(&registry_, table_, false), nullptr); // another environment's
    Registry::unlockEnv(&registry_, table_);
    Registry::unlockEnv(&registry_, odd + "|stock"); // any table of the environment
    const auto wholeName = Registry::lockEnv(&registry_, home_, true);
    ASSERT_NE(wholeName, nullptr); // without a "|", the whole name is the directory
    EXPECT_FALSE(isSharable());
    Registry::unlockEnv(&registry_, home_);
}

TEST_F(LockEnvTest, EverySpellingIsOneLock)
{
    const auto lock = Registry::lockEnv(&registry_, table_, true);
    ASSERT_NE(lock, nullptr);
    const auto other = inBackground([&] { return Registry::lockEnv(&registry_, home_ + "/.|orders", false); });
    EXPECT_EQ(const_cast<std::future<std::shared_ptr<AccessLock>>&>(other).get(), nullptr);
    Registry::unlockEnv(&registry_, home_ + "/./|orders");
    EXPECT_TRUE(isSharable());
}

TEST_F(LockEnvTest, UnlockOfAnUnknownEnvironmentDoesNothing)
{
    const auto lock = Registry::lockEnv(&registry_, table_, true);
    LogCapture log;
    Registry::unlockEnv(&registry_, "/missing|orders");
    EXPECT_FALSE(isSharable());
    lock->unlock();
    EXPECT_THAT(ownLines(log), IsEmpty());
}

TEST_F(LockEnvTest, DroppedLockIsReleasedAndForgottenUnderAllItsNames)
{
    (void)openedEnv(home_ + "/.");
    ASSERT_EQ(registry_.locks().size(), 2);
    const auto lock = Registry::lockEnv(&registry_, table_, true);
    Registry::dropEnvLock(&registry_, lock);
    EXPECT_TRUE(registry_.locks().isEmpty());
    EXPECT_TRUE(lock->tryLockForRead());
    lock->unlock();
    LogCapture log;
    EXPECT_EQ(Registry::lockEnv(&registry_, table_, false), nullptr);
    EXPECT_EQ(ownLines(log).size(), 1U);
}

TEST_F(LockEnvTest, DropLeavesTheLocksOfOthersAlone)
{
    const QByteArray other = makeHome("other");
    (void)openedEnv(other);
    Registry::dropEnvLock(&registry_, Registry::lockEnv(&registry_, table_, true));
    EXPECT_EQ(registry_.locks().size(), 1);
    EXPECT_NE(Registry::lockEnv(&registry_, other, false), nullptr);
    Registry::unlockEnv(&registry_, other);
}

TEST_F(LockEnvTest, DropLeavesTheLockOfTheEnvironmentOpenedAnewAlone)
{
    const auto lock = Registry::lockEnv(&registry_, table_, true);
    Registry::removeEnv(&registry_, table_);
    (void)openedEnv(home_);
    Registry::dropEnvLock(&registry_, lock);
    ASSERT_EQ(registry_.locks().size(), 1);
    EXPECT_NE(registry_.locks().cbegin().value(), lock);
    EXPECT_TRUE(isSharable());
}

TEST_F(LockEnvTest, WriterThatWaitedForALockThatWasDroppedLearnsThat)
{
    const auto lock = Registry::lockEnv(&registry_, table_, true);
    LogCapture log;
    auto waiting = exclusiveElsewhere();
    Registry::removeEnv(&registry_, table_);
    Registry::dropEnvLock(&registry_, lock);
    EXPECT_EQ(waiting.get(), nullptr);
    EXPECT_THAT(ownLines(log), ElementsAre("[ERROR] bdb # Failed to find lock for dbid: env::" + home_.toStdString()));
}

TEST_F(LockEnvTest, WriterThatWaitedGetsTheLockOfTheEnvironmentOpenedAnew)
{
    const auto lock = Registry::lockEnv(&registry_, table_, true);
    auto waiting = exclusiveElsewhere();
    Registry::removeEnv(&registry_, table_);
    (void)openedEnv(home_);
    Registry::dropEnvLock(&registry_, lock);
    const auto got = waiting.get();
    ASSERT_NE(got, nullptr);
    EXPECT_NE(got, lock);
    EXPECT_EQ(got, registry_.locks().cbegin().value());
}

} // namespace

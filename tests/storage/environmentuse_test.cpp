#include "storage/environmentuse.h"

#include "support/blockedcall.h"
#include "support/deadline.h"

#include <gtest/gtest.h>

#include <chrono>
#include <memory>
#include <thread>
#include <utility>

namespace {

/** Uses only compare the pointer and hand it out; they never dereference it. */
BDBEnv* someEnvironment()
{
    static int place = 0;
    return reinterpret_cast<BDBEnv*>(&place);
}

class EnvironmentUseTest : public testing::Test {
protected:
    EnvironmentUse use() const { return {someEnvironment(), count_, access_}; }

    /** Another thread that takes the access lock exclusively, as DeleteTable does, and releases it immediately. */
    BlockedCall<void> excludeElsewhere() const
    {
        return BlockedCall([access = access_] {
            access->lockForWrite();
            access->unlock();
        });
    }

    /** Waits for the end of all uses in another thread. */
    BlockedCall<void> waitElsewhere() const
    {
        return BlockedCall([count = count_] { count->waitUnused(); });
    }

    /** Waits in another thread until no request is working any more, like a flusher, but without a limit. */
    BlockedCall<bool> gatherElsewhere() const
    {
        return BlockedCall([count = count_] { return count->waitUntilNoneWorks(std::chrono::hours(24)); });
    }

    std::shared_ptr<EnvironmentUseCount> count_ = std::make_shared<EnvironmentUseCount>();
    std::shared_ptr<AccessLock> access_ = std::make_shared<AccessLock>();
};

TEST_F(EnvironmentUseTest, HoldsNothingWhenMadeEmpty)
{
    EnvironmentUse empty;
    EXPECT_EQ(empty.env(), nullptr);
    empty.reset();
    EXPECT_EQ(empty.env(), nullptr);
}

TEST_F(EnvironmentUseTest, NobodyWaitsForAnUnusedEnvironment)
{
    count_->waitUnused();
}

TEST_F(EnvironmentUseTest, IsCountedWhileItLives)
{
    auto held = std::make_unique<EnvironmentUse>(use());
    EXPECT_EQ(held->env(), someEnvironment());
    auto waiter = waitElsewhere();
    EXPECT_TRUE(waiter.blocksIn(*count_));
    held.reset();
    waiter.get();
}

TEST_F(EnvironmentUseTest, EveryUseIsCounted)
{
    EnvironmentUse first = use();
    EnvironmentUse second = use();
    first.reset();
    EXPECT_EQ(first.env(), nullptr);
    first.reset(); // only the first reset counts
    auto waiter = waitElsewhere();
    EXPECT_TRUE(waiter.blocksIn(*count_));
    second.reset();
    waiter.get();
}

TEST_F(EnvironmentUseTest, MovesItsHoldOn)
{
    EnvironmentUse first = use();
    EnvironmentUse second = std::move(first);
    EXPECT_EQ(second.env(), someEnvironment());
    auto waiter = waitElsewhere();
    first.reset(); // NOLINT(bugprone-use-after-move): it is empty
    EXPECT_TRUE(waiter.blocksIn(*count_));
    second.reset();
    waiter.get();
}

TEST_F(EnvironmentUseTest, AssignmentGivesTheOldHoldBackAndTakesTheNew)
{
    EnvironmentUse held = use();
    const auto other = std::make_shared<EnvironmentUseCount>();
    held = EnvironmentUse(someEnvironment(), other, nullptr);
    count_->waitUnused();
    EXPECT_EQ(held.env(), someEnvironment());
    BlockedCall waiter([other] { other->waitUnused(); });
    EXPECT_TRUE(waiter.blocksIn(*other));
    held = EnvironmentUse();
    EXPECT_EQ(held.env(), nullptr);
    waiter.get();
}

TEST_F(EnvironmentUseTest, NobodyWorksOnceTheLastReaderHasLeft)
{
    const Deadline deadline(std::chrono::minutes(1));
    EnvironmentUse writer = use();
    EnvironmentUse reader = use();
    writer.beginWaiting();
    auto gathering = gatherElsewhere();
    EXPECT_TRUE(gathering.blocksIn(*count_));
    reader.reset();
    EXPECT_TRUE(gathering.get());
}

TEST_F(EnvironmentUseTest, NobodyWorksOnceAllWait)
{
    const Deadline deadline(std::chrono::minutes(1));
    EnvironmentUse first = use();
    EnvironmentUse second = use();
    first.beginWaiting();
    EXPECT_FALSE(count_->waitUntilNoneWorks(std::chrono::microseconds(0)));
    auto gathering = gatherElsewhere();
    EXPECT_TRUE(gathering.blocksIn(*count_));
    second.beginWaiting();
    EXPECT_TRUE(gathering.get());
}

TEST_F(EnvironmentUseTest, OneThatWaitsIsAUserUntilItLeaves)
{
    EnvironmentUse first = use();
    first.beginWaiting();
    EnvironmentUse second = std::move(first);
    auto waiter = waitElsewhere();
    EXPECT_TRUE(waiter.blocksIn(*count_));
    second.reset();
    waiter.get();
    const EnvironmentUse next = use();
    EXPECT_FALSE(count_->waitUntilNoneWorks(std::chrono::microseconds(0)));
}

TEST_F(EnvironmentUseTest, HoldsTheAccessLockOnlyWhenItIsAskedTo)
{
    EnvironmentUse held = use();
    excludeElsewhere().get();
    EXPECT_TRUE(held.shareAccess());
    EXPECT_TRUE(held.shareAccess()); // its only hold
    auto writer = excludeElsewhere();
    EXPECT_TRUE(waitUntil([&] { return writer.sleeps(); }));
    held.reset();
    writer.get();
}

TEST_F(EnvironmentUseTest, SharesTheAccessLockWithOtherUses)
{
    EnvironmentUse held = use();
    ASSERT_TRUE(held.shareAccess());
    std::thread([this] { EXPECT_TRUE(use().shareAccess()); }).join();
}

TEST_F(EnvironmentUseTest, DoesNotGetTheAccessLockFromAWriterAndDoesNotWait)
{
    access_->lockForWrite();
    std::thread([this] {
        EnvironmentUse held = use();
        EXPECT_FALSE(held.shareAccess());
        EXPECT_EQ(held.env(), someEnvironment());
    }).join();
    access_->unlock();
    EXPECT_FALSE(EnvironmentUse(someEnvironment(), count_, nullptr).shareAccess()); // without a lock
}

TEST_F(EnvironmentUseTest, MovesItsHoldOnTheAccessLockOn)
{
    EnvironmentUse first = use();
    ASSERT_TRUE(first.shareAccess());
    EnvironmentUse second = std::move(first);
    auto writer = excludeElsewhere();
    first.reset(); // NOLINT(bugprone-use-after-move): it is empty
    EXPECT_TRUE(waitUntil([&] { return writer.sleeps(); }));
    second = EnvironmentUse();
    writer.get();
}

TEST_F(EnvironmentUseTest, DismissedHoldOnTheAccessLockIsLeftToTheCaller)
{
    EnvironmentUse held = use();
    ASSERT_TRUE(held.shareAccess());
    held.dismissAccess();
    held.reset();
    count_->waitUnused(); // the use itself is over
    auto writer = excludeElsewhere();
    EXPECT_TRUE(waitUntil([&] { return writer.sleeps(); }));
    access_->unlock();
    writer.get();
}

} // namespace

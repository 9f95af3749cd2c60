#include "storage/environmentuse.h"

#include "support/blockedcall.h"

#include <gtest/gtest.h>

#include <memory>
#include <utility>

namespace {

/** Uses compare and pass the pointer on, they never look behind it. */
BDBEnv* someEnvironment()
{
    static int place = 0;
    return reinterpret_cast<BDBEnv*>(&place);
}

class EnvironmentUseTest : public testing::Test {
protected:
    EnvironmentUse use() const { return {someEnvironment(), count_}; }

    /** Waits for the end of all uses in another thread. */
    BlockedCall<void> waitElsewhere() const
    {
        return BlockedCall([count = count_] { count->waitUnused(); });
    }

    std::shared_ptr<EnvironmentUseCount> count_ = std::make_shared<EnvironmentUseCount>();
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
    held = EnvironmentUse(someEnvironment(), other);
    count_->waitUnused();
    EXPECT_EQ(held.env(), someEnvironment());
    BlockedCall waiter([other] { other->waitUnused(); });
    EXPECT_TRUE(waiter.blocksIn(*other));
    held = EnvironmentUse();
    EXPECT_EQ(held.env(), nullptr);
    waiter.get();
}

} // namespace

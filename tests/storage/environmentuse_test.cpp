#include "storage/environmentuse.h"

#include <gtest/gtest.h>

#include <chrono>
#include <future>
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
    std::future<void> waitElsewhere() const
    {
        return std::async(std::launch::async, [count = count_] { count->waitUnused(); });
    }

    /** True when `waiter` does not come to its end, as far as a short while can tell. */
    static bool waits(const std::future<void>& waiter)
    {
        return waiter.wait_for(std::chrono::milliseconds(20)) == std::future_status::timeout;
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
    std::future<void> waiter;
    {
        const EnvironmentUse held = use();
        EXPECT_EQ(held.env(), someEnvironment());
        waiter = waitElsewhere();
        EXPECT_TRUE(waits(waiter));
    }
    waiter.wait();
}

TEST_F(EnvironmentUseTest, EveryUseIsCounted)
{
    EnvironmentUse first = use();
    EnvironmentUse second = use();
    first.reset();
    EXPECT_EQ(first.env(), nullptr);
    first.reset(); // only the first reset counts
    const auto waiter = waitElsewhere();
    EXPECT_TRUE(waits(waiter));
    second.reset();
    waiter.wait();
}

TEST_F(EnvironmentUseTest, MovesItsHoldOn)
{
    EnvironmentUse first = use();
    EnvironmentUse second = std::move(first);
    EXPECT_EQ(second.env(), someEnvironment());
    const auto waiter = waitElsewhere();
    first.reset(); // NOLINT(bugprone-use-after-move): it is empty
    EXPECT_TRUE(waits(waiter));
    second.reset();
    waiter.wait();
}

TEST_F(EnvironmentUseTest, AssignmentGivesTheOldHoldBackAndTakesTheNew)
{
    EnvironmentUse held = use();
    const auto other = std::make_shared<EnvironmentUseCount>();
    held = EnvironmentUse(someEnvironment(), other);
    count_->waitUnused();
    EXPECT_EQ(held.env(), someEnvironment());
    const auto waiter = std::async(std::launch::async, [other] { other->waitUnused(); });
    EXPECT_TRUE(waits(waiter));
    held = EnvironmentUse();
    EXPECT_EQ(held.env(), nullptr);
    waiter.wait();
}

} // namespace

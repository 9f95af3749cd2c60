#include "storage/boundedhold.h"

#include "support/waituntil.h"

#include <gtest/gtest.h>

namespace {

using namespace std::chrono_literals;

bool isFree(CommitGate& gate)
{
    if (!gate.try_lock())
        return false;
    gate.unlock();
    return true;
}

} // namespace

TEST(BoundedHold, TheGateIsFreeAgainAfterTheLimitWhileTheWorkContinues)
{
    CommitGate gate;
    BoundedHold hold;
    ASSERT_EQ(hold.begin(gate, 1ms), 0);
    EXPECT_TRUE(waitUntil([&] { return isFree(gate); }));
    bool called = false;
    EXPECT_FALSE(hold.whileHeld([&] { called = true; }));
    EXPECT_FALSE(called);
    hold.end();
}

TEST(BoundedHold, TheWorkIsDoneWhileTheGateIsHeld)
{
    CommitGate gate;
    BoundedHold hold;
    ASSERT_EQ(hold.begin(gate, 24h), 0);
    EXPECT_FALSE(isFree(gate));
    bool freeMeanwhile = true;
    EXPECT_TRUE(hold.whileHeld([&] { freeMeanwhile = isFree(gate); }));
    EXPECT_FALSE(freeMeanwhile);
    hold.end();
    EXPECT_TRUE(isFree(gate)) << "at once, and not after a day";
    EXPECT_FALSE(hold.whileHeld([] {}));
}

TEST(BoundedHold, TheObjectsEndIsTheHoldsEnd)
{
    CommitGate gate;
    {
        BoundedHold hold;
        ASSERT_EQ(hold.begin(gate, 24h), 0);
        EXPECT_FALSE(isFree(gate));
    }
    EXPECT_TRUE(isFree(gate));
}

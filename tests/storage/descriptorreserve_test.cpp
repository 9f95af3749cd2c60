#include "storage/descriptorreserve.h"

#include "childprocess.h"
#include "descriptorlimit.h"

#include <gtest/gtest.h>

namespace {

bool isAvailable()
{
    return DescriptorReserve().available();
}

TEST(DescriptorReserve, WantsSixteenFreeDescriptors)
{
    ChildProcess child([](const auto&) {
        limitDescriptors(16);
        EXPECT_TRUE(isAvailable());
        limitDescriptors(15);
        EXPECT_FALSE(isAvailable());
        limitDescriptors(0);
        EXPECT_FALSE(isAvailable());
        limitDescriptors(1000);
        EXPECT_TRUE(isAvailable());
    });
    EXPECT_EQ(child.waitForExit(), 0);
}

TEST(DescriptorReserve, TakesNoDescriptorItself)
{
    ChildProcess child([](const auto&) {
        limitDescriptors(16);
        const int before = lowestFreeDescriptor();
        const DescriptorReserve reserve;
        EXPECT_EQ(lowestFreeDescriptor(), before);
    });
    EXPECT_EQ(child.waitForExit(), 0);
}

TEST(DescriptorReserve, CountsTheGapsThatEndedConnectionsLeave)
{
    ChildProcess child([](const auto&) {
        limitDescriptors(40);
        const int first = lowestFreeDescriptor();
        for (int descriptor = first; descriptor < first + 40; ++descriptor)
            EXPECT_EQ(openDescriptor(), descriptor);
        EXPECT_FALSE(isAvailable());
        for (int i = 0; i < 15; ++i)
            close(first + 2 * i);
        EXPECT_FALSE(isAvailable()); // the lowest free one is far below the limit, but only 15 are free
        close(first + 39);
        EXPECT_TRUE(isAvailable());
    });
    EXPECT_EQ(child.waitForExit(), 0);
}

TEST(DescriptorReserve, LeavesRoomForOpeningsUnderWay)
{
    ChildProcess child([](const auto&) {
        limitDescriptors(23);
        {
            const DescriptorReserve first;
            const DescriptorReserve second;
            EXPECT_TRUE(first.available());
            EXPECT_TRUE(second.available());
            EXPECT_FALSE(isAvailable()); // each of the two may still open some
        }
        EXPECT_TRUE(isAvailable());
    });
    EXPECT_EQ(child.waitForExit(), 0);
}

TEST(DescriptorReserve, WantsWhatTheOpeningNeedsOnTop)
{
    ChildProcess child([](const auto&) {
        limitDescriptors(115);
        EXPECT_FALSE(DescriptorReserve(100).available());
        limitDescriptors(116);
        {
            const DescriptorReserve large(100);
            EXPECT_TRUE(large.available());
            EXPECT_FALSE(isAvailable()); // they are reserved
        }
        EXPECT_TRUE(isAvailable());
    });
    EXPECT_EQ(child.waitForExit(), 0);
}

TEST(DescriptorReserve, NoLimitLeavesEnough)
{
    ChildProcess child([](const auto&) {
        const rlimit none{RLIM_INFINITY, RLIM_INFINITY};
        (void)setrlimit(RLIMIT_NOFILE, &none); // the kernel may refuse; then there are plenty
        EXPECT_TRUE(isAvailable());
    });
    EXPECT_EQ(child.waitForExit(), 0);
}

} // namespace

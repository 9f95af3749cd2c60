#include "tools/progressbar.h"

#include <gtest/gtest.h>

using Ctl::progressLine;

TEST(ProgressLine, ShowsShareRateAndRemainingTime)
{
    EXPECT_EQ(progressLine({500, 10, 50, 200}, 60), "[=====>                ]   25 %  500 items  50/s  0:30 left");
    EXPECT_EQ(progressLine({1000, 7200, 1, 2}, 60), "[=========>         ]   50 %  1000 items  0/s  2:00:00 left");
}

TEST(ProgressLine, IsFullAtTheEnd)
{
    EXPECT_EQ(progressLine({1000, 10, 200, 200}, 50), "[=====================]  100 %  1000 items  100/s");
    EXPECT_EQ(progressLine({0, 0, 0, 0}, 30), "[======]  100 %  0 items  0/s");
}

TEST(ProgressLine, GuessesNoTimeBeforeAnythingWasDone)
{
    EXPECT_EQ(progressLine({0, 0, 0, 200}, 34), "[>         ]    0 %  0 items  0/s");
}

TEST(ProgressLine, WithoutASizeShowsCountAndRate)
{
    EXPECT_EQ(progressLine({1000, 4, 50, -1}, 80), "1000 items  250/s");
}

TEST(ProgressLine, StaysWithinTheTerminal)
{
    for (int width = 1; width < 100; ++width)
        EXPECT_LT(progressLine({123456, 1000, 1, 3}, width).size(), static_cast<size_t>(width));
    EXPECT_EQ(progressLine({123456, 1000, 1, 3}, 20), " 33 %  123456 items");
}

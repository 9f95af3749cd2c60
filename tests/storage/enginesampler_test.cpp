#include "storage/enginesampler.h"

#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>

namespace {

using Clock = std::chrono::steady_clock;

Clock::time_point inAMinute()
{
    return Clock::now() + std::chrono::minutes(1);
}

/** Counts its reads in `logFile`. The read with the number `held` waits until it is released. */
struct Source {
    int read(EngineFigures* figures)
    {
        const int number = ++reads;
        if (number == held)
            go.wait();
        figures->logFile = static_cast<std::uint32_t>(number);
        return number == failing ? 5 : 0;
    }

    std::atomic<int> reads{0};
    int held = 0;
    int failing = 0;
    std::latch go{1};
};

TEST(EngineSampler, ReadsForEachOrder)
{
    Source source;
    EngineSampler sampler([&](EngineFigures* figures) { return source.read(figures); });
    EXPECT_EQ(source.reads, 0);
    for (unsigned i = 1; i <= 3; ++i) {
        const auto figures = sampler.order().wait(inAMinute());
        ASSERT_TRUE(figures.has_value());
        EXPECT_EQ(figures->logFile, i);
    }
}

TEST(EngineSampler, HasEarlierFiguresWhileAReadIsDelayed)
{
    Source source;
    source.held = 2;
    EngineSampler sampler([&](EngineFigures* figures) { return source.read(figures); });
    EXPECT_EQ(sampler.order().wait(inAMinute())->logFile, 1U);
    EXPECT_EQ(sampler.order().wait(Clock::now())->logFile, 1U) << "not within its deadline";
    EXPECT_EQ(sampler.order().wait(inAMinute())->logFile, 1U) << "without a wait";
    source.go.count_down();
    EXPECT_TRUE(waitUntil([&] { return sampler.order().wait(Clock::now())->logFile >= 3; }));
}

TEST(EngineSampler, HasNoneBeforeTheFirstRead)
{
    Source source;
    source.held = 1;
    EngineSampler sampler([&](EngineFigures* figures) { return source.read(figures); });
    EXPECT_FALSE(sampler.order().wait(Clock::now()).has_value());
    EXPECT_FALSE(sampler.order().wait(inAMinute()).has_value());
    source.go.count_down();
}

TEST(EngineSampler, KeepsEarlierFiguresWhenAReadFails)
{
    Source source;
    source.failing = 2;
    EngineSampler sampler([&](EngineFigures* figures) { return source.read(figures); });
    for (const unsigned expected : {1U, 1U, 3U})
        EXPECT_EQ(sampler.order().wait(inAMinute())->logFile, expected);
}

TEST(EngineSampler, EndsWhileSomebodyHasAnOrder)
{
    Source source;
    EngineSampler::Order order;
    {
        EngineSampler sampler([&](EngineFigures* figures) { return source.read(figures); });
        EXPECT_TRUE(sampler.order().wait(inAMinute()).has_value());
        order = sampler.order();
    }
    EXPECT_TRUE(order.wait(inAMinute()).has_value());
}

} // namespace

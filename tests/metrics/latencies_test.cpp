#include "metrics/latencies.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;
using Metrics::LatencyBounds;

namespace {

TEST(LatencyBounds, AscendFromTenMicrosecondsToTenSeconds)
{
    EXPECT_EQ(LatencyBounds.front(), 10us);
    EXPECT_EQ(LatencyBounds.back(), 10s);
    for (std::size_t i = 1; i < LatencyBounds.size(); ++i)
        EXPECT_LT(LatencyBounds[i - 1], LatencyBounds[i]);
}

TEST(LatencyClass, EndsWithItsBound)
{
    for (std::size_t i = 0; i < LatencyBounds.size(); ++i) {
        EXPECT_EQ(Metrics::latencyClass(LatencyBounds[i]), i);
        EXPECT_EQ(Metrics::latencyClass(LatencyBounds[i] + 1ns), i + 1);
    }
    EXPECT_EQ(Metrics::latencyClass(0ns), 0U);
    EXPECT_EQ(Metrics::latencyClass(24h), LatencyBounds.size());
}

TEST(LatencyCounter, CountsByClassAndAddsUp)
{
    Metrics::LatencyCounter counter;
    counter.add(3us);
    counter.add(7us);
    counter.add(15us);
    counter.add(60s);
    EXPECT_EQ(counter.inClass(0), 2U);
    EXPECT_EQ(counter.inClass(1), 1U);
    EXPECT_EQ(counter.inClass(2), 0U);
    EXPECT_EQ(counter.inClass(Metrics::LatencyClasses - 1), 1U);
    EXPECT_EQ(counter.nanoseconds(), 60'000'025'000U);
}

} // namespace

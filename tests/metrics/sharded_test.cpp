#include "metrics/sharded.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <set>
#include <thread>
#include <vector>

namespace {

struct Counters {
    Metrics::Counter first;
    Metrics::Counter second;
};

template <std::size_t Shards> std::pair<std::uint64_t, std::uint64_t> countInThreads(int threads, int each)
{
    Metrics::Sharded<Counters, Shards> counters;
    std::vector<std::thread> running;
    for (int i = 0; i < threads; ++i) {
        running.emplace_back([&] {
            for (int n = 0; n < each; ++n) {
                counters.local().first.add();
                counters.local().second.add(3);
            }
        });
    }
    for (std::thread& thread : running)
        thread.join();
    return {counters.sum([](const Counters& some) { return some.first.value(); }),
            counters.sum([](const Counters& some) { return some.second.value(); })};
}

TEST(Sharded, AddsUpWhatEachThreadHasCounted)
{
    EXPECT_EQ(countInThreads<64>(8, 10000), (std::pair<std::uint64_t, std::uint64_t>(80000, 240000)));
}

TEST(Sharded, LosesNothingWithMoreThreadsThanShards)
{
    EXPECT_EQ(countInThreads<2>(8, 10000), (std::pair<std::uint64_t, std::uint64_t>(80000, 240000)));
}

TEST(Sharded, HasTheCountersOfThreadsInDifferentCacheLines)
{
    Metrics::Sharded<Counters, 4> counters;
    std::set<std::uintptr_t> lines;
    for (int i = 0; i < 4; ++i)
        std::thread([&] { lines.insert(reinterpret_cast<std::uintptr_t>(&counters.local()) / 64); }).join();
    EXPECT_EQ(lines.size(), 4U);
    for (const std::uintptr_t line : lines)
        EXPECT_EQ(lines.count(line), 1U);
}

TEST(ThreadNumber, StaysTheSameAndIsOfOneThread)
{
    const std::size_t mine = Metrics::threadNumber();
    EXPECT_EQ(Metrics::threadNumber(), mine);
    std::size_t other = mine;
    std::thread([&] { other = Metrics::threadNumber(); }).join();
    EXPECT_NE(other, mine);
}

} // namespace

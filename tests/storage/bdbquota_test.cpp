#include "storage/bdbquota.h"

#include <gtest/gtest.h>

#include <latch>
#include <limits>
#include <thread>
#include <vector>

namespace {

constexpr std::int64_t Max = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t Min = std::numeric_limits<std::int64_t>::min();

TEST(BDBQuota, IsOfType6)
{
    EXPECT_EQ(BDBQuota().type(), 6);
}

TEST(BDBQuota, StartsEmptyAndAllowsNothing)
{
    BDBQuota quota;
    EXPECT_EQ(quota.used(), 0);
    EXPECT_EQ(quota.charge(1), 12);
    EXPECT_EQ(quota.charge(0), 0);
    EXPECT_EQ(quota.used(), 0);
}

TEST(BDBQuota, ChargesUpToTheLimitAndNotBeyond)
{
    BDBQuota quota;
    quota.set(10, 100);
    EXPECT_EQ(quota.charge(90), 0);
    EXPECT_EQ(quota.used(), 100);
    EXPECT_EQ(quota.charge(1), 12);
    EXPECT_EQ(quota.used(), 100);
}

TEST(BDBQuota, NegativeAmountsAreAlwaysTaken)
{
    BDBQuota quota;
    quota.set(100, 50); // over its limit: set() does not compare
    EXPECT_EQ(quota.charge(-10), 0);
    EXPECT_EQ(quota.used(), 90);
    EXPECT_EQ(quota.charge(-200), 0);
    EXPECT_EQ(quota.used(), -110);
    EXPECT_EQ(quota.charge(160), 0);
    EXPECT_EQ(quota.used(), 50);
}

TEST(BDBQuota, SumsBeyond64BitsAreOverTheLimit)
{
    BDBQuota quota;
    quota.set(1, Max);
    EXPECT_EQ(quota.charge(Max - 1), 0);
    EXPECT_EQ(quota.charge(Max), 12);
    EXPECT_EQ(quota.used(), Max);
    quota.set(Min, 0);
    EXPECT_EQ(quota.charge(Max), 0);
    EXPECT_EQ(quota.used(), -1);
}

TEST(BDBQuota, ManyThreadsTogetherNeverGoOverTheLimit)
{
    // So many that a thread is interrupted within a charge, on a single processor too. ThreadSanitizer, which makes
    // each of them expensive, sees a missing lock without that.
#ifdef __SANITIZE_THREAD__
    constexpr int Charges = 50000;
#else
    constexpr int Charges = 5000000;
#endif
    constexpr int Threads = 4;
    BDBQuota quota;
    quota.set(0, Threads * Charges / 2);
    std::latch all(Threads);
    std::vector<int> granted(Threads, 0);
    std::vector<std::thread> threads;
    for (int& count : granted)
        threads.emplace_back([&quota, &count, &all] {
            all.arrive_and_wait();
            for (int i = 0; i < Charges; ++i)
                count += quota.charge(1) == 0 ? 1 : 0;
        });
    for (std::thread& thread : threads)
        thread.join();
    int sum = 0;
    for (const int count : granted)
        sum += count;
    EXPECT_EQ(sum, Threads * Charges / 2);
    EXPECT_EQ(quota.used(), sum);
}

} // namespace

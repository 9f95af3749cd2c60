#include "metrics/waits.h"

#include <gtest/gtest.h>

#include <thread>

using namespace std::chrono_literals;

namespace {

/** For this long at least. */
void spend(std::chrono::nanoseconds time)
{
    const auto end = std::chrono::steady_clock::now() + time;
    while (std::chrono::steady_clock::now() < end)
        std::this_thread::yield();
}

TEST(Waits, AreMeasuredForTheThreadThatNotesThem)
{
    Metrics::Waits waits;
    {
        const Metrics::NotedWaits noted(&waits);
        {
            const Metrics::LockWait wait;
            spend(2ms);
        }
        std::thread([] {
            const Metrics::LockWait other;
            Metrics::noteRetry();
        }).join();
        Metrics::noteRetry();
        Metrics::noteRetry();
    }
    EXPECT_GE(waits.locks, 2ms);
    EXPECT_EQ(waits.disk, 0ns);
    EXPECT_EQ(waits.retries, 2);
}

TEST(Waits, AreNotMeasuredWithoutOne)
{
    EXPECT_EQ(Metrics::currentWaits(), nullptr);
    {
        const Metrics::LockWait lock;
        const Metrics::DiskWait disk;
        Metrics::noteRetry();
    }
    Metrics::Waits waits;
    {
        const Metrics::NotedWaits noted(&waits);
        EXPECT_EQ(Metrics::currentWaits(), &waits);
    }
    EXPECT_EQ(Metrics::currentWaits(), nullptr);
    EXPECT_EQ(waits.locks, 0ns);
}

TEST(Waits, ForTheDiskAreNoneForALock)
{
    Metrics::Waits waits;
    const Metrics::NotedWaits noted(&waits);
    const auto begin = std::chrono::steady_clock::now();
    {
        const Metrics::LockWait lock;
        const Metrics::DiskWait disk;
        spend(5ms);
    }
    const auto total = std::chrono::steady_clock::now() - begin;
    EXPECT_GE(waits.disk, 5ms);
    EXPECT_LE(waits.locks + waits.disk, total);
}

TEST(EngineCall, IsAWaitOnlyFromAMillisecondOn)
{
    Metrics::Waits waits;
    const Metrics::NotedWaits noted(&waits);
    {
        const Metrics::EngineCall call;
        spend(2ms);
    }
    EXPECT_GE(waits.locks, 2ms);
    // A call that happens to be interrupted for a millisecond is one as well, but not each of a thousand.
    const auto before = waits.locks;
    const auto begin = std::chrono::steady_clock::now();
    bool wasShort = false;
    for (int i = 0; i < 1000 && !wasShort; ++i) {
        const auto sofar = waits.locks;
        {
            const Metrics::EngineCall call;
        }
        wasShort = waits.locks == sofar;
    }
    EXPECT_TRUE(wasShort);
    EXPECT_LE(waits.locks - before, std::chrono::steady_clock::now() - begin);
}

} // namespace

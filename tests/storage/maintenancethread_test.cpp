#include "storage/maintenancethread.h"

#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <thread>

namespace {

using namespace std::chrono_literals;

/** Counts its cycles, and can be blocked in one. */
class CountingThread final : public MaintenanceThread {
public:
    explicit CountingThread(std::chrono::milliseconds period) : MaintenanceThread(nullptr, period) { start(); }

    std::atomic<int> cycles{0};
    std::atomic<bool> held{false};

private:
    void cycle() override
    {
        ++cycles;
        while (held)
            std::this_thread::yield();
    }
};

} // namespace

TEST(MaintenanceThread, RunsTheFirstCycleImmediately)
{
    CountingThread thread(24h);
    EXPECT_TRUE(waitUntil([&] { return thread.cycles == 1; }));
    EXPECT_EQ(thread.state(), MaintenanceThread::Running);
    thread.stop();
    thread.waitStopped();
}

TEST(MaintenanceThread, RunsAgainAfterItsPeriod)
{
    CountingThread thread(1ms);
    EXPECT_TRUE(waitUntil([&] { return thread.cycles >= 5; }));
    thread.stop();
    thread.waitStopped();
}

TEST(MaintenanceThread, StopEndsALongSleepImmediately)
{
    CountingThread thread(24h);
    ASSERT_TRUE(waitUntil([&] { return thread.cycles == 1; }));
    thread.stop();
    thread.waitStopped(); // takes a day if the sleep is not interrupted
    EXPECT_EQ(thread.state(), MaintenanceThread::Stopped);
    EXPECT_EQ(thread.cycles, 1);
}

TEST(MaintenanceThread, StopDuringACycleIsRequestedUntilTheCycleEnds)
{
    CountingThread thread(24h);
    thread.held = true;
    ASSERT_TRUE(waitUntil([&] { return thread.cycles >= 1; }));
    thread.stop();
    EXPECT_NE(thread.state(), MaintenanceThread::Running);
    thread.held = false;
    thread.waitStopped();
    EXPECT_EQ(thread.state(), MaintenanceThread::Stopped);
}

TEST(MaintenanceThread, StoppingAgainChangesNothing)
{
    CountingThread thread(24h);
    thread.stop();
    thread.waitStopped();
    thread.stop();
    EXPECT_EQ(thread.state(), MaintenanceThread::Stopped);
    thread.waitStopped();
}

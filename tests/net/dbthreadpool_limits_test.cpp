// How many requests run at once.
#include "pooltask.h"
#include "support/blockedcall.h"
#include "support/deadline.h"
#include "support/threadcount.h"
#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <thread>

#include <sys/syscall.h>

using namespace std::chrono_literals;

TEST(DBThreadPool, GrowsToItsMaximumAndNoFurther)
{
    ASSERT_TRUE(onlyThisThreadIsLeft());
    DBThreadPool pool;
    pool.configure(3, 1min);
    std::latch allRun(3); // opens only when three tasks run at once
    std::latch go(1);
    std::atomic<int> running{0};
    std::atomic<int> most{0};
    for (int i = 0; i < 10; ++i) {
        ASSERT_TRUE(start(pool, [&, i] {
            const int here = ++running;
            int seen = most;
            while (seen < here && !most.compare_exchange_weak(seen, here)) {
            }
            if (i < 3)
                allRun.arrive_and_wait();
            go.wait();
            --running;
        }));
    }
    allRun.wait();
    EXPECT_EQ(threadCount(), initialThreadCount() + 3);
    go.count_down();
    pool.waitForDone();
    EXPECT_EQ(most, 3);
}

TEST(DBThreadPool, WhoEntersCountsAgainstTheMaximum)
{
    DBThreadPool pool;
    pool.configure(2, 1min);
    EXPECT_TRUE(pool.tryEnter());
    EXPECT_TRUE(pool.tryEnter());
    EXPECT_FALSE(pool.tryEnter());
    pool.leave();
    EXPECT_TRUE(pool.tryEnter());
    pool.leave();
    pool.leave();

    std::latch runs(1);
    std::latch go(1);
    ASSERT_TRUE(start(pool, [&] {
        runs.count_down();
        go.wait();
    }));
    runs.wait();
    EXPECT_TRUE(pool.tryEnter());
    EXPECT_FALSE(pool.tryEnter());
    pool.leave();
    go.count_down();
    pool.waitForDone();
    EXPECT_TRUE(pool.tryEnter());
    EXPECT_TRUE(pool.tryEnter()); // a task that has run gives its place back
    pool.leave();
    pool.leave();
}

TEST(DBThreadPool, ATaskWaitsForThoseWhoHaveEntered)
{
    ASSERT_TRUE(onlyThisThreadIsLeft());
    DBThreadPool pool;
    pool.configure(2, 1min);
    ASSERT_TRUE(pool.tryEnter());
    ASSERT_TRUE(pool.tryEnter());
    std::atomic<int> inside{2};
    std::atomic<int> most{0};
    std::atomic<int> ran{0};
    for (int i = 0; i < 5; ++i) {
        ASSERT_TRUE(start(pool, [&] {
            const int here = ++inside;
            int seen = most;
            while (seen < here && !most.compare_exchange_weak(seen, here)) {
            }
            std::this_thread::yield();
            --inside;
            ++ran;
        }));
    }
    EXPECT_TRUE(waitUntil([] { return threadsIn(SYS_futex) > 0; })); // a thread of the pool waits with them
    EXPECT_FALSE(pool.tryEnter());
    --inside;
    pool.leave();
    EXPECT_TRUE(waitUntil([&] { return ran == 5; }));
    --inside;
    pool.leave();
    pool.waitForDone();
    EXPECT_EQ(ran, 5);
    EXPECT_LE(most, 2);
}

TEST(DBThreadPool, NobodyEntersAheadOfAQueuedTask)
{
    DBThreadPool pool;
    pool.configure(1, 1min);
    std::latch go(1);
    ASSERT_TRUE(pool.tryEnter());
    ASSERT_TRUE(start(pool, [&] { go.wait(); }));
    pool.leave();
    const bool entered = pool.tryEnter(); // it is queued, or runs
    if (entered)
        pool.leave();
    EXPECT_FALSE(entered);
    go.count_down();
    pool.waitForDone();
    EXPECT_TRUE(pool.tryEnter());
    pool.leave();
}

TEST(DBThreadPool, EndsAllThreadsThatWaitedForTheLastTask)
{
    const Deadline deadline(1min);
    DBThreadPool pool;
    pool.configure(3, 1h);
    std::latch together(3);
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(start(pool, [&] { together.arrive_and_wait(); }));
    together.wait();
    for (int i = 0; i < 3; ++i)
        ASSERT_TRUE(waitUntil([&] { return pool.tryEnter(); }));
    std::atomic<int> ran{0};
    ASSERT_TRUE(start(pool, [&] { ++ran; }));
    BlockedCall done([&] {
        pool.waitForDone();
        return ran.load();
    });
    EXPECT_TRUE(done.blocksIn(pool));
    EXPECT_TRUE(waitUntil([] { return threadsIn(SYS_futex) == 5; }));
    for (int i = 0; i < 3; ++i)
        pool.leave();
    EXPECT_EQ(done.get(), 1);
}

TEST(DBThreadPool, HasAtLeastOneThread)
{
    DBThreadPool pool;
    pool.configure(0, 1min);
    EXPECT_EQ(pool.maxThreadCount(), 1);
    std::atomic<int> ran{0};
    ASSERT_TRUE(start(pool, [&] { ++ran; }));
    pool.waitForDone();
    EXPECT_EQ(ran, 1);
}

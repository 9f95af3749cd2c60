#include "net/dbthreadpool.h"

#include "netsupport.h"
#include "support/blockedcall.h"
#include "support/deadline.h"
#include "support/systemcallfilter.h"
#include "support/waituntil.h"
#include "threadcount.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <latch>
#include <mutex>
#include <thread>
#include <vector>

#include <sys/syscall.h>

using testing::ElementsAre;
using namespace std::chrono_literals;

namespace {

/** Runs a function. Counts the existing tasks. */
class Task : public QRunnable {
public:
    explicit Task(std::function<void()> action) : action_(std::move(action)) { ++alive; }
    ~Task() override { --alive; }
    void run() override { action_(); }

    static inline std::atomic<int> alive{0};

private:
    std::function<void()> action_;
};

bool start(DBThreadPool& pool, std::function<void()> action)
{
    return pool.start(std::make_unique<Task>(std::move(action)));
}

} // namespace

TEST(DBThreadPool, RunsAndDeletesItsTasks)
{
    std::atomic<int> ran{0};
    DBThreadPool pool;
    pool.configure(4, 1min);
    for (int i = 0; i < 100; ++i)
        ASSERT_TRUE(start(pool, [&] { ++ran; }));
    pool.waitForDone();
    EXPECT_EQ(ran, 100);
    EXPECT_EQ(Task::alive, 0);
}

TEST(DBThreadPool, OneThreadRunsThemInTheirOrder)
{
    std::vector<int> order;
    DBThreadPool pool;
    pool.configure(1, 1min);
    std::latch go(1);
    ASSERT_TRUE(start(pool, [&] { go.wait(); }));
    for (int i = 0; i < 4; ++i)
        ASSERT_TRUE(start(pool, [&order, i] { order.push_back(i); }));
    go.count_down();
    pool.waitForDone();
    EXPECT_THAT(order, ElementsAre(0, 1, 2, 3));
}

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

TEST(DBThreadPool, IdleThreadsEndAndNewOnesTakeTheirPlace)
{
    DBThreadPool pool;
    pool.configure(2, 1ms);
    for (int round = 0; round < 3; ++round) {
        std::latch ran(2);
        ASSERT_TRUE(start(pool, [&] { ran.count_down(); }));
        ASSERT_TRUE(start(pool, [&] { ran.count_down(); }));
        ran.wait();
        EXPECT_TRUE(onlyThisThreadIsLeft());
    }
}

TEST(DBThreadPool, IdleThreadsAreUsedAgain)
{
    ASSERT_TRUE(onlyThisThreadIsLeft());
    DBThreadPool pool;
    pool.configure(50, 1min);
    for (int i = 0; i < 50; ++i) {
        std::latch ran(1);
        ASSERT_TRUE(start(pool, [&] { ran.count_down(); }));
        ran.wait();
    }
    // A task may start before the previous one's thread is idle, so there may be several threads, but not one per task.
    EXPECT_LT(threadCount(), initialThreadCount() + 25);
}

TEST(DBThreadPool, TasksThatWaitForEachOtherAllGetAThread)
{
    constexpr int Tasks = 8;
    DBThreadPool pool;
    pool.configure(Tasks, 1min);
    for (int round = 0; round < 500;
         ++round) { // the threads are created by the first one, and idle or about to be then
        std::latch together(Tasks + 1);
        std::latch done(Tasks);
        for (int i = 0; i < Tasks; ++i)
            ASSERT_TRUE(start(pool, [&] {
                together.arrive_and_wait();
                done.count_down();
            }));
        together.arrive_and_wait();
        done.wait();
    }
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

TEST(DBThreadPool, NeedsNoDescriptors)
{
    std::atomic<int> ran{0};
    DBThreadPool pool;
    pool.configure(4, 1min);
    std::latch together(4);
    {
        const NoFurtherDescriptors none;
        for (int i = 0; i < 4; ++i) {
            ASSERT_TRUE(start(pool, [&] {
                together.arrive_and_wait();
                ++ran;
            }));
        }
        together.wait();
    }
    pool.waitForDone();
    EXPECT_EQ(ran, 4);
}

TEST(DBThreadPool, WithoutAnyThreadATaskIsRefusedAndDeleted)
{
    DBThreadPool pool;
    pool.configure(4, 1min);
    bool started = true;
    std::atomic<int> ran{0};
    if (!runWithFailingCalls({__NR_clone, __NR_clone3}, EAGAIN, [&] { started = start(pool, [&] { ++ran; }); }))
        GTEST_SKIP() << "this system has no filters for system calls";
    EXPECT_FALSE(started);
    EXPECT_EQ(Task::alive, 0);

    ASSERT_TRUE(start(pool, [&] { ++ran; })); // the refused task left nothing behind
    pool.waitForDone();
    EXPECT_EQ(ran, 1);
}

TEST(DBThreadPool, WithoutAFurtherThreadATaskWaitsForOneThatExists)
{
    DBThreadPool pool;
    pool.configure(4, 1min);
    std::latch go(1);
    ASSERT_TRUE(start(pool, [&] { go.wait(); }));
    bool started = false;
    std::atomic<int> ran{0};
    const bool filtered =
        runWithFailingCalls({__NR_clone, __NR_clone3}, EAGAIN, [&] { started = start(pool, [&] { ++ran; }); });
    go.count_down();
    if (!filtered)
        GTEST_SKIP() << "this system has no filters for system calls";
    EXPECT_TRUE(started);
    pool.waitForDone();
    EXPECT_EQ(ran, 1);
}

TEST(DBThreadPool, DestructionRunsWhatWasStarted)
{
    std::atomic<int> ran{0};
    {
        DBThreadPool pool;
        pool.configure(2, 1min);
        for (int i = 0; i < 50; ++i)
            ASSERT_TRUE(start(pool, [&] { ++ran; }));
    }
    EXPECT_EQ(ran, 50);
    EXPECT_EQ(Task::alive, 0);
    EXPECT_TRUE(onlyThisThreadIsLeft());
}

TEST(DBThreadPool, TakesTasksFromManyThreads)
{
    std::atomic<int> ran{0};
    DBThreadPool pool;
    pool.configure(4, 1ms);
    std::vector<std::thread> starters;
    for (int i = 0; i < 4; ++i) {
        starters.emplace_back([&] {
            for (int task = 0; task < 2000; ++task)
                EXPECT_TRUE(start(pool, [&] { ++ran; }));
        });
    }
    for (std::thread& starter : starters)
        starter.join();
    pool.waitForDone();
    EXPECT_EQ(ran, 8000);
}

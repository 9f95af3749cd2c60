#include "net/dbthreadpool.h"

#include "pooltask.h"
#include "support/threadcount.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <latch>
#include <thread>
#include <vector>

using testing::ElementsAre;
using namespace std::chrono_literals;

TEST(DBThreadPool, RunsAndDeletesItsTasks)
{
    std::atomic<int> ran{0};
    DBThreadPool pool;
    pool.configure(4, 1min);
    for (int i = 0; i < 100; ++i)
        ASSERT_TRUE(start(pool, [&] { ++ran; }));
    pool.waitForDone();
    EXPECT_EQ(ran, 100);
    EXPECT_EQ(PoolTask::alive, 0);
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
    EXPECT_EQ(PoolTask::alive, 0);
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

// What the pool does when the system has no more descriptors or threads.
#include "netsupport.h"
#include "pooltask.h"
#include "support/systemcallfilter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <latch>

#include <sys/syscall.h>

using namespace std::chrono_literals;

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
    EXPECT_EQ(PoolTask::alive, 0);

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

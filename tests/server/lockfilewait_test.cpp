#include "lockfilefixture.h"

#include "support/systemcallfilter.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <memory>
#include <string>

#include <unistd.h>

namespace {

using LockFileWaitUntilFree = LockFileTest;

} // namespace

TEST_F(LockFileWaitUntilFree, ReportsWhenTheSystemRefuses)
{
    writeFile(path_, "");
    for (const unsigned call : {unsigned{SYS_flock}, unsigned{SYS_fcntl}}) {
        LockFile lock(name());
        ASSERT_TRUE(lock.openExisting());
        bool free = true;
        if (!runWithFailingCalls({call}, ENOLCK, [&] { free = lock.waitUntilFree(); }))
            GTEST_SKIP() << "no system call filters here";
        EXPECT_FALSE(free);
        EXPECT_EQ(lock.error(), ENOLCK);
        EXPECT_TRUE(isFree(path_));
    }
}

TEST_F(LockFileWaitUntilFree, ReturnsImmediatelyWhenNobodyHoldsTheFile)
{
    writeFile(path_, "1");
    LockFile lock(name());
    ASSERT_TRUE(lock.openExisting());
    EXPECT_TRUE(lock.waitUntilFree());
    EXPECT_EQ(ProcFs::read(path_), "1");
    EXPECT_TRUE(isFree(path_)) << "the one who waited takes nothing";
}

TEST_P(LockFileOfEitherKind, WaitUntilFreeReturnsWhenTheHolderDies)
{
    LockHolder holder(path_, GetParam());
    holder.write("1");
    LockFile lock(name());
    ASSERT_TRUE(lock.openExisting());
    std::atomic<bool> released = false;
    bool free = false;
    bool early = false;
    Waiter waiter([&] {
        free = lock.waitUntilFree();
        early = !released;
    });
    ASSERT_TRUE(waiter.hasWaited());
    released = true;
    holder.die();
    waiter.join();
    EXPECT_TRUE(free);
    EXPECT_FALSE(early);
    EXPECT_TRUE(isFree(path_));
}

TEST_P(LockFileOfEitherKind, WaitUntilFreeWaitsForBothKinds)
{
    auto first = std::make_unique<LockHolder>(path_, GetParam());
    auto second = std::make_unique<LockHolder>(path_, GetParam() == LockKind::File ? LockKind::Record : LockKind::File);
    LockFile lock(name());
    ASSERT_TRUE(lock.openExisting());
    std::atomic<bool> released = false;
    bool early = false;
    Waiter waiter([&] {
        EXPECT_TRUE(lock.waitUntilFree());
        early = !released;
    });
    ASSERT_TRUE(waiter.hasWaited());
    first.reset();
    ASSERT_TRUE(waiter.hasWaited());
    released = true;
    second.reset();
    waiter.join();
    EXPECT_FALSE(early);
}

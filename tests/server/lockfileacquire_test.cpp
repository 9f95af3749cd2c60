#include "lockfilefixture.h"

#include "support/systemcallfilter.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <chrono>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using Wait = LockFile::Wait;

constexpr auto LongEnough = std::chrono::milliseconds(60s); // for waits that are meant to end earlier
const std::string OwnId = std::to_string(getpid());

/** The result of an acquire() that waits until `release` has been called. */
template <typename Release> Wait acquireOnce(LockFile* lock, Release release)
{
    Wait result = Wait::Failed;
    Waiter waiter([&] { result = lock->acquire(LongEnough); });
    EXPECT_TRUE(waiter.hasWaited());
    release();
    waiter.join();
    return result;
}

std::string kindName(const testing::TestParamInfo<LockKind>& info)
{
    return info.param == LockKind::File ? "FileLock" : "RecordLock";
}

using LockFileAcquire = LockFileTest;

} // namespace

INSTANTIATE_TEST_SUITE_P(Kinds, LockFileOfEitherKind, testing::Values(LockKind::File, LockKind::Record), kindName);

TEST_F(LockFileAcquire, WritesTheProcessIdAndNothingElse)
{
    LockFile lock(name());
    ASSERT_TRUE(lock.create());
    EXPECT_EQ(lock.acquire(0ms), Wait::Acquired);
    EXPECT_EQ(ProcFs::read(path_), OwnId);
}

TEST_F(LockFileAcquire, HoldsTheFileInBothWaysForLife)
{
    {
        LockFile lock(name());
        ASSERT_TRUE(lock.create());
        ASSERT_EQ(lock.acquire(0ms), Wait::Acquired);
        EXPECT_TRUE(isHeld(path_, LockKind::File));
        EXPECT_TRUE(isHeld(path_, LockKind::Record));
    }
    EXPECT_TRUE(isFree(path_));
    EXPECT_EQ(ProcFs::read(path_), OwnId) << "the file stays, with the last holder's id";
}

TEST_F(LockFileAcquire, AtTheFirstTryTakesTheFileWhateverItHolds)
{
    for (const std::string content : {"1", "123456789012345", "no number", "\0\1"}) {
        writeFile(path_, content);
        LockFile lock(name());
        ASSERT_TRUE(lock.create()) << content;
        EXPECT_EQ(lock.acquire(LongEnough), Wait::Acquired) << content;
        EXPECT_EQ(ProcFs::read(path_), OwnId) << content;
    }
}

TEST_F(LockFileAcquire, RecordLockCoversTheWholeFile)
{
    LockFile lock(name());
    ASSERT_TRUE(lock.create());
    ASSERT_EQ(lock.acquire(0ms), Wait::Acquired);
    const int descriptor = open(path_.c_str(), O_RDWR | O_CLOEXEC);
    for (const off_t start : {0, 1, 1000000}) {
        struct flock one {};
        one.l_type = F_RDLCK;
        one.l_whence = SEEK_SET;
        one.l_start = start;
        one.l_len = 1;
        EXPECT_EQ(fcntl(descriptor, F_OFD_SETLK, &one), -1) << start;
    }
    close(descriptor);
}

TEST_P(LockFileOfEitherKind, HeldFileIsWaitedForUntilTheLimit)
{
    LockHolder holder(path_, GetParam());
    holder.write("content");
    LockFile lock(name());
    ASSERT_TRUE(lock.create());
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(lock.acquire(50ms), Wait::TimedOut);
    EXPECT_GE(std::chrono::steady_clock::now() - start, 50ms);
    EXPECT_EQ(lock.error(), ETIMEDOUT);
    EXPECT_EQ(ProcFs::read(path_), "content");
    holder.die();
    EXPECT_TRUE(isFree(path_)) << "one that gave up must not hold half of it";
}

TEST_P(LockFileOfEitherKind, HolderThatEmptiesTheFileHandsItOver)
{
    LockHolder holder(path_, GetParam());
    holder.write("1");
    LockFile lock(name());
    ASSERT_TRUE(lock.create());
    EXPECT_EQ(acquireOnce(&lock, [&] { holder.letGo(); }), Wait::Acquired);
    EXPECT_EQ(ProcFs::read(path_), OwnId);
    EXPECT_TRUE(isHeld(path_, LockKind::File));
    EXPECT_TRUE(isHeld(path_, LockKind::Record));
}

TEST_P(LockFileOfEitherKind, HolderThatLeavesItsIdWasAbandoned)
{
    for (const std::string content : {"1", "4194304", "77\n"}) {
        LockHolder holder(path_, GetParam());
        holder.write(content);
        LockFile lock(name());
        ASSERT_TRUE(lock.create());
        EXPECT_EQ(acquireOnce(&lock, [&] { holder.die(); }), Wait::Abandoned) << content;
        EXPECT_EQ(lock.error(), EOWNERDEAD) << content;
        EXPECT_EQ(ProcFs::read(path_), content) << "what the holder left is not touched";
        EXPECT_TRUE(isFree(path_)) << content;
    }
}

TEST_P(LockFileOfEitherKind, TextThatIsNoIdIsNobodysDeath)
{
    for (const std::string content : {"", " \n", "owner", "12 monkeys", "-1", "0"}) {
        LockHolder holder(path_, GetParam());
        holder.write(content);
        LockFile lock(name());
        ASSERT_TRUE(lock.create());
        EXPECT_EQ(acquireOnce(&lock, [&] { holder.die(); }), Wait::Acquired) << content;
        EXPECT_EQ(ProcFs::read(path_), OwnId) << content;
    }
}

TEST_F(LockFileAcquire, ProcessWithAnOrdinaryRecordLockKeepsItOut)
{
    LockingProcess other([this] {
        const int descriptor = open(path_.c_str(), O_RDWR | O_CREAT, 0600);
        struct flock whole {};
        whole.l_type = F_WRLCK;
        whole.l_whence = SEEK_SET;
        return fcntl(descriptor, F_SETLK, &whole) == 0;
    });

    LockFile lock(name());
    ASSERT_TRUE(lock.create());
    EXPECT_EQ(lock.acquire(30ms), Wait::TimedOut);
    other.kill();
    EXPECT_EQ(lock.acquire(0ms), Wait::Acquired);
}

TEST_F(LockFileAcquire, ReportsWhenTheSystemRefusesAndHoldsNothing)
{
    for (const unsigned call : {unsigned{SYS_flock}, unsigned{SYS_fcntl}}) {
        LockFile lock(name());
        ASSERT_TRUE(lock.create());
        Wait result = Wait::Acquired;
        if (!runWithFailingCalls({call}, ENOLCK, [&] { result = lock.acquire(LongEnough); }))
            GTEST_SKIP() << "no system call filters here";
        EXPECT_EQ(result, Wait::Failed);
        EXPECT_EQ(lock.error(), ENOLCK);
        EXPECT_TRUE(isFree(path_));
        EXPECT_EQ(ProcFs::read(path_), "");
    }
}

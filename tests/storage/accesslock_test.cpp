#include "storage/accesslock.h"

#include "support/background.h"
#include "support/blockedcall.h"
#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <QtGlobal>

#include <future>

namespace {

/** Runs `call` in another thread and returns its result. */
template <typename Call> auto elsewhere(Call call)
{
    return inBackground(call).get();
}

/** Tries the lock from another thread, which releases it again. */
bool readableElsewhere(AccessLock& lock)
{
    return elsewhere([&lock] {
        if (!lock.tryLockForRead())
            return false;
        lock.unlock();
        return true;
    });
}

void ignoreMessage(QtMsgType, const QMessageLogContext&, const QString&) {}

TEST(AccessLock, IsSharedByReaders)
{
    AccessLock lock;
    ASSERT_TRUE(lock.tryLockForRead());
    EXPECT_TRUE(readableElsewhere(lock));
    lock.unlock();
}

TEST(AccessLock, RefusesReadersImmediatelyWhileAWriterHoldsIt)
{
    AccessLock lock;
    lock.lockForWrite();
    EXPECT_FALSE(readableElsewhere(lock));
    lock.unlock();
    EXPECT_TRUE(readableElsewhere(lock));
}

TEST(AccessLock, RefusesNewReadersWhileAWriterWaits)
{
    AccessLock lock;
    ASSERT_TRUE(lock.tryLockForRead());
    const auto writer = inBackground([&lock] {
        lock.lockForWrite();
        lock.unlock();
    });
    EXPECT_TRUE(waitUntil([&] { return !readableElsewhere(lock); }));
    lock.unlock();
    writer.wait();
    EXPECT_TRUE(readableElsewhere(lock));
}

TEST(AccessLock, AThreadThatReadsMayReadAgainAlthoughAWriterWaits)
{
    AccessLock lock;
    ASSERT_TRUE(lock.tryLockForRead());
    BlockedCall writer([&lock] {
        lock.lockForWrite();
        lock.unlock();
    });
    EXPECT_TRUE(waitUntil([&] { return !readableElsewhere(lock); }));
    EXPECT_TRUE(waitUntil([&] { return writer.sleeps(); }));
    EXPECT_TRUE(lock.tryLockForRead());
    lock.unlock();
    EXPECT_TRUE(writer.sleeps()); // one shared hold is left
    lock.unlock();
    writer.get();
}

TEST(AccessLock, AThreadThatWritesMayWriteAgain)
{
    AccessLock lock;
    lock.lockForWrite();
    lock.lockForWrite();
    lock.unlock();
    EXPECT_FALSE(readableElsewhere(lock));
    lock.unlock();
    EXPECT_TRUE(readableElsewhere(lock));
}

TEST(AccessLock, UnlockByAThreadThatHoldsNothingDoesNothing)
{
    const QtMessageHandler previous = qInstallMessageHandler(ignoreMessage); // Qt prints a warning
    AccessLock lock;
    lock.unlock();
    lock.lockForWrite();
    elsewhere([&lock] { lock.unlock(); });
    EXPECT_FALSE(readableElsewhere(lock));
    lock.unlock();
    EXPECT_TRUE(readableElsewhere(lock));
    qInstallMessageHandler(previous);
}

} // namespace

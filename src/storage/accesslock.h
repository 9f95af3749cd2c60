#ifndef QUORVA_STORAGE_ACCESSLOCK_H
#define QUORVA_STORAGE_ACCESSLOCK_H

#include <QReadWriteLock>

/**
 * An environment's access lock: every operation on its tables holds it shared, DeleteTable exclusively while it closes
 * the environment. It is first in the lock order, see bdbregistry.h. A hold belongs to the thread that took it, and a
 * thread may take it again.
 */
class AccessLock {
public:
    /** Never blocks: false while a writer holds the lock or waits for it. */
    [[nodiscard]] bool tryLockForRead() { return lock_.tryLockForRead(); }

    void lockForWrite() { lock_.lockForWrite(); }

    /** Releases one hold of this thread. Does nothing when this thread has none. */
    void unlock() { lock_.unlock(); }

private:
    QReadWriteLock lock_{QReadWriteLock::Recursive};
};

#endif

#ifndef QUORVA_STORAGE_COMMITGATE_H
#define QUORVA_STORAGE_COMMITGATE_H

#include <pthread.h>

/**
 * Held shared by every commit while it runs; an exclusive holder blocks all commits. For std::shared_lock and
 * std::unique_lock.
 *
 * Prefers a waiting writer: with std::shared_mutex, a continuous stream of overlapping commits could starve it.
 */
class CommitGate {
public:
    CommitGate()
    {
        pthread_rwlockattr_t attributes;
        pthread_rwlockattr_init(&attributes);
        pthread_rwlockattr_setkind_np(&attributes, PTHREAD_RWLOCK_PREFER_WRITER_NONRECURSIVE_NP);
        pthread_rwlock_init(&lock_, &attributes); // none of these can fail with valid arguments
        pthread_rwlockattr_destroy(&attributes);
    }
    ~CommitGate() { pthread_rwlock_destroy(&lock_); }
    CommitGate(const CommitGate&) = delete;
    CommitGate& operator=(const CommitGate&) = delete;

    void lock_shared() { pthread_rwlock_rdlock(&lock_); }
    [[nodiscard]] bool try_lock_shared() { return pthread_rwlock_tryrdlock(&lock_) == 0; }
    void unlock_shared() { pthread_rwlock_unlock(&lock_); }
    void lock() { pthread_rwlock_wrlock(&lock_); }
    [[nodiscard]] bool try_lock() { return pthread_rwlock_trywrlock(&lock_) == 0; }
    void unlock() { pthread_rwlock_unlock(&lock_); }

private:
    pthread_rwlock_t lock_;
};

#endif

#ifndef QUORVA_METRICS_WAITS_H
#define QUORVA_METRICS_WAITS_H

#include <chrono>

namespace Metrics {

/** What one request has waited for on the threads that run it, and how often it was begun again. */
struct Waits {
    std::chrono::nanoseconds locks{0};
    std::chrono::nanoseconds disk{0};
    int retries = 0; // after a deadlock
};

/** Where the calling thread notes its waits. Null: it does not, and measures nothing. */
inline Waits*& currentWaits()
{
    thread_local constinit Waits* current = nullptr;
    return current;
}

/** Has the calling thread note its waits in `waits`, or nowhere if that is null, for the lifetime of the object. */
class NotedWaits {
public:
    explicit NotedWaits(Waits* waits) { currentWaits() = waits; }
    ~NotedWaits() { currentWaits() = nullptr; }
    NotedWaits(const NotedWaits&) = delete;
    NotedWaits& operator=(const NotedWaits&) = delete;
};

/** A wait for locks, for the lifetime of the object; what of it is a wait for the disk counts as that. Not nested. */
class LockWait {
public:
    LockWait() : LockWait(std::chrono::nanoseconds(0)) {}
    ~LockWait()
    {
        if (waits_ == nullptr)
            return;
        const auto time = std::chrono::steady_clock::now() - begin_ - (waits_->disk - diskBefore_);
        if (time >= least_)
            waits_->locks += time;
    }
    LockWait(const LockWait&) = delete;
    LockWait& operator=(const LockWait&) = delete;

protected:
    /** Less than `least` is no wait. */
    explicit LockWait(std::chrono::nanoseconds least) : waits_(currentWaits()), least_(least)
    {
        if (waits_ == nullptr)
            return;
        begin_ = std::chrono::steady_clock::now();
        diskBefore_ = waits_->disk;
    }

private:
    Waits* const waits_;
    const std::chrono::nanoseconds least_;
    std::chrono::steady_clock::time_point begin_;
    std::chrono::nanoseconds diskBefore_{0};
};

/**
 * A call to Berkeley DB on one record, or the end of a transaction. It takes microseconds unless it waits, and does not
 * tell for how long it has waited: what takes a millisecond or more without the disk is taken for a wait for locks.
 */
class EngineCall : public LockWait {
public:
    EngineCall() : LockWait(std::chrono::milliseconds(1)) {}
};

/** A wait for the disk, for the lifetime of the object. */
class DiskWait {
public:
    DiskWait() : waits_(currentWaits())
    {
        if (waits_ != nullptr)
            begin_ = std::chrono::steady_clock::now();
    }
    ~DiskWait()
    {
        if (waits_ != nullptr)
            waits_->disk += std::chrono::steady_clock::now() - begin_;
    }
    DiskWait(const DiskWait&) = delete;
    DiskWait& operator=(const DiskWait&) = delete;

private:
    Waits* const waits_;
    std::chrono::steady_clock::time_point begin_;
};

/** Counts that the request of the calling thread is begun again. */
inline void noteRetry()
{
    if (Waits* const waits = currentWaits())
        ++waits->retries;
}

} // namespace Metrics

#endif

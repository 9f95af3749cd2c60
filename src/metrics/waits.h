#ifndef QUORVA_METRICS_WAITS_H
#define QUORVA_METRICS_WAITS_H

#include <chrono>

namespace Metrics {

/** What one request has waited for on the threads that run it, and how often it was restarted. */
struct Waits {
    std::chrono::nanoseconds locks{0};
    std::chrono::nanoseconds disk{0};
    int retries = 0; // after a deadlock
};

/** Where the calling thread records its waits. Null: nowhere, and nothing is measured. */
inline Waits*& currentWaits()
{
    thread_local constinit Waits* current = nullptr;
    return current;
}

/** Makes the calling thread record its waits in `waits`, or nowhere if that is null, during its lifetime. */
class NotedWaits {
public:
    explicit NotedWaits(Waits* waits) { currentWaits() = waits; }
    ~NotedWaits() { currentWaits() = nullptr; }
    NotedWaits(const NotedWaits&) = delete;
    NotedWaits& operator=(const NotedWaits&) = delete;
};

/** A wait for locks that lasts as long as the object; a wait for the disk within it counts as such. Not nested. */
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
    /** Less than `least` does not count as a wait. */
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
 * A call to Berkeley DB on one record, or the end of a transaction. It takes microseconds unless it waits, and
 * Berkeley DB does not report how long it has waited: a millisecond or more without the disk counts as a wait for
 * locks.
 */
class EngineCall : public LockWait {
public:
    EngineCall() : LockWait(std::chrono::milliseconds(1)) {}
};

/** A wait for the disk that lasts as long as the object. */
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

/** Counts a restart of the request of the calling thread. */
inline void noteRetry()
{
    if (Waits* const waits = currentWaits())
        ++waits->retries;
}

} // namespace Metrics

#endif

#ifndef QUORVA_STORAGE_DEADLOCKRETRY_H
#define QUORVA_STORAGE_DEADLOCKRETRY_H

#include <db_cxx.h>

#include <chrono>
#include <cstdlib>
#include <thread>

/** Kept: which deadlock in a row is the first that is worth a line is not the same everywhere. */
enum class DeadlockWarning {
    FromThird, // the back-off is tested and shown after it doubled
    FromFourth // before: only the batch writer, whose operators know the line so
};

/**
 * Runs `attempt`, an `int()` callable, until its result is not DB_LOCK_DEADLOCK, and returns that result. Berkeley DB
 * breaks a deadlock by failing one of the transactions in it; the loser starts afresh after a random pause, whose upper
 * bound doubles from attempt to attempt: 0 ms before the first, then up to 1, 3, 7, ... 32767 ms. There is no limit on
 * the attempts. `warn`, a `void(int backoff)` callable, is called only when a line is due.
 *
 * An attempt must be restartable: what it hands on, it hands on only when it did not end in a deadlock.
 */
template <typename Attempt, typename Warn>
[[nodiscard]] int retryOnDeadlock(Attempt&& attempt, Warn&& warn, DeadlockWarning warning = DeadlockWarning::FromThird)
{
    constexpr int MaxBackoff = 0x10000;
    constexpr int QuietBackoff = 4;
    constexpr int RandomMask = 0x7fff; // 15 bits: no pause is longer than 32767 ms

    for (int backoff = 1;;) {
        const int delay = std::rand() & RandomMask & (backoff - 1);
        if (delay > 0)
            std::this_thread::sleep_for(std::chrono::milliseconds(delay));

        const int rc = attempt();

        const bool deadlock = rc == DB_LOCK_DEADLOCK;
        if (deadlock && warning == DeadlockWarning::FromFourth && backoff > QuietBackoff)
            warn(backoff);
        if (backoff < MaxBackoff)
            backoff *= 2;
        if (deadlock && warning == DeadlockWarning::FromThird && backoff > QuietBackoff)
            warn(backoff);
        if (!deadlock)
            return rc;
    }
}

#endif

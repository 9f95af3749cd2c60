#ifndef QUORVA_STORAGE_DEADLOCKRETRY_H
#define QUORVA_STORAGE_DEADLOCKRETRY_H

#include "metrics/waits.h"

#include <db_cxx.h>

#include <chrono>
#include <cstdlib>
#include <thread>

namespace Deadlocks {

/** Kept: the number of consecutive deadlocks before the first log line differs between callers. */
enum class Warning {
    FromThird, // the back-off is checked and printed after doubling
    FromFourth // before doubling: batch writes only; operators know the line in this form
};

/**
 * Runs `attempt`, an `int()` callable, until its result is not DB_LOCK_DEADLOCK, and returns that result. The deadlock
 * victim retries after a random back-off, whose upper bound doubles with each attempt: 0 ms before the first, then up
 * to 1, 3, 7, ... 32767 ms. The number of attempts is unlimited. `warn`, a `void(int backoff)` callable, is called only
 * when a line is due.
 *
 * An attempt must be restartable: it may publish results only if it did not end in a deadlock.
 */
template <typename Attempt, typename Warn>
[[nodiscard]] int retry(Attempt&& attempt, Warn&& warn, Warning warning = Warning::FromThird)
{
    constexpr int MaxBackoff = 0x10000;
    constexpr int QuietBackoff = 4;
    constexpr int RandomMask = 0x7fff; // 15 bits: a pause is at most 32767 ms

    for (int backoff = 1;;) {
        // Only to keep victims apart. NOLINTNEXTLINE(cert-msc30-c,cert-msc50-cpp)
        const int delay = std::rand() & RandomMask & (backoff - 1);
        if (delay > 0) {
            const Metrics::LockWait wait;
            std::this_thread::sleep_for(std::chrono::milliseconds(delay));
        }

        const int rc = attempt();

        const bool deadlock = rc == DB_LOCK_DEADLOCK;
        if (deadlock && warning == Warning::FromFourth && backoff > QuietBackoff)
            warn(backoff);
        if (backoff < MaxBackoff)
            backoff *= 2;
        if (deadlock && warning == Warning::FromThird && backoff > QuietBackoff)
            warn(backoff);
        if (!deadlock)
            return rc;
        Metrics::noteRetry();
    }
}

} // namespace Deadlocks

#endif

#ifndef QUORVA_API_BACKOFF_H
#define QUORVA_API_BACKOFF_H

#include <chrono>

namespace Api {

/**
 * The pauses between attempts at something that others get in the way of: random, and longer with each attempt, so that
 * those who meet do not meet again. For one thread.
 */
class BackOff {
public:
    using Clock = std::chrono::steady_clock;

    explicit BackOff(std::chrono::milliseconds patience) : deadline_(Clock::now() + patience) {}

    /** Waits before the next attempt. False, without a wait, when the time is over. */
    [[nodiscard]] bool pause();

    Clock::time_point deadline() const { return deadline_; }

private:
    const Clock::time_point deadline_;
    int attempts_ = 0;
};

} // namespace Api

#endif

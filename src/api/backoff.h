#ifndef QUORVA_API_BACKOFF_H
#define QUORVA_API_BACKOFF_H

#include <chrono>

namespace Api {

/**
 * Random pauses between attempts that fail because of concurrent writers. They grow with each attempt, so that writers
 * that have collided do not collide again. For one thread.
 */
class BackOff {
public:
    using Clock = std::chrono::steady_clock;

    explicit BackOff(std::chrono::milliseconds patience) : deadline_(Clock::now() + patience) {}

    /** Waits before the next attempt. False, without a wait, when time is up. */
    [[nodiscard]] bool pause();

    Clock::time_point deadline() const { return deadline_; }

private:
    const Clock::time_point deadline_;
    int attempts_ = 0;
};

} // namespace Api

#endif

#ifndef QUORVA_TESTS_SUPPORT_WAITUNTIL_H
#define QUORVA_TESTS_SUPPORT_WAITUNTIL_H

#include <chrono>
#include <thread>

/** Polls `condition` until it holds or the deadline has passed. Returns its last result. */
template <typename Condition>
[[nodiscard]] bool waitUntil(Condition condition, std::chrono::milliseconds deadline = std::chrono::seconds(60))
{
    const auto end = std::chrono::steady_clock::now() + deadline;
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end)
            return condition();
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

#endif

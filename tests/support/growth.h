#ifndef QUORVA_TESTS_SUPPORT_GROWTH_H
#define QUORVA_TESTS_SUPPORT_GROWTH_H

#include <algorithm>
#include <chrono>
#include <ctime>

/** The processor time that `work` takes in this thread. */
template <typename Work> std::chrono::nanoseconds processorTime(Work&& work)
{
    const auto now = [] {
        timespec time{};
        clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
        return std::chrono::seconds(time.tv_sec) + std::chrono::nanoseconds(time.tv_nsec);
    };
    const auto before = now();
    work();
    return now() - before;
}

/**
 * True when the cost of `work(n)`, a callable that does something to an input of about `n` bytes, grows in proportion
 * to `n`: eight times the input then costs about eight times as much, and 64 times with the square. The bound lies in
 * between, far from both, and a busy machine has several tries; more than 20 seconds are never linear.
 */
template <typename Work> [[nodiscard]] bool growsLinearly(int n, Work&& work)
{
    constexpr int Factor = 8;
    constexpr int Bound = 24;
    constexpr int Tries = 5;
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
    constexpr std::chrono::milliseconds FirstTouch(20); // of memory, and of what the sanitizer keeps beside it
#else
    constexpr std::chrono::milliseconds FirstTouch(1); // of memory
#endif
    auto small = std::chrono::nanoseconds::max();
    auto large = std::chrono::nanoseconds::max();
    for (int attempt = 0; attempt < Tries; ++attempt) {
        for (int repeat = 0; repeat < 3; ++repeat)
            small = std::min(small, processorTime([&] { work(n); }));
        large = std::min(large, processorTime([&] { work(n * Factor); }));
        if (large < small * Bound + FirstTouch)
            return true;
        if (large > std::chrono::seconds(20))
            return false;
    }
    return false;
}

#endif

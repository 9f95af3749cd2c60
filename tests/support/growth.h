#ifndef QUORVA_TESTS_SUPPORT_GROWTH_H
#define QUORVA_TESTS_SUPPORT_GROWTH_H

#include <algorithm>
#include <chrono>
#include <ctime>

#include <malloc.h>

/** The CPU time that `work` takes on this thread. */
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
 * True when the cost of `work(n)`, which processes an input of about `n` bytes, is linear in `n`: eight times the input
 * then costs about eight times as much, and 64 times as much if the cost is quadratic. The bound is well between the
 * two, and a busy machine gets several tries; more than 20 seconds never counts as linear.
 */
template <typename Work> [[nodiscard]] bool growsLinearly(int n, Work&& work)
{
    constexpr int Factor = 8;
    constexpr int Bound = 24;
    constexpr int Tries = 5;
#if defined(__SANITIZE_THREAD__) || defined(__SANITIZE_ADDRESS__)
    constexpr std::chrono::milliseconds FirstTouch(20); // of memory, and of the sanitizer's shadow memory
#else
    constexpr std::chrono::milliseconds FirstTouch(1); // of memory
#endif
    // Freed memory stays with the process: otherwise each try with the longer text has the system make its pages anew,
    // which can take longer than all the rest.
    constexpr int Kept = 32 * 1024 * 1024;
    (void)mallopt(M_MMAP_THRESHOLD, Kept); // ignored, also below: without it a test can only fail
    (void)mallopt(M_TRIM_THRESHOLD, Kept);
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

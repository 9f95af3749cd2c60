#ifndef QUORVA_TESTS_SUPPORT_THREADCOUNT_H
#define QUORVA_TESTS_SUPPORT_THREADCOUNT_H

#include "support/waituntil.h"

#include <cstddef>
#include <filesystem>
#include <fstream>
#include <thread>

inline std::size_t threadCount()
{
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& task : std::filesystem::directory_iterator("/proc/self/task"))
        ++count;
    return count;
}

/** How many threads of this process are blocked in the system call with this number. */
inline int threadsIn(long call)
{
    int count = 0;
    for (const auto& task : std::filesystem::directory_iterator("/proc/self/task")) {
        long number = -1;
        count += std::ifstream(task.path() / "syscall") >> number && number == call ? 1 : 0;
    }
    return count;
}

/** How many threads there are before a test has started any. ThreadSanitizer adds one of its own to the first. */
inline std::size_t initialThreadCount()
{
    static const std::size_t count = [] {
        std::thread([] {}).join();
#if defined(__SANITIZE_THREAD__)
        return 2;
#else
        return 1;
#endif
    }();
    return count;
}

/** Waits until only those are left: a thread that was joined is still listed for a moment. */
[[nodiscard]] inline bool onlyThisThreadIsLeft()
{
    return waitUntil([] { return threadCount() == initialThreadCount(); });
}

#endif

#ifndef QUORVA_TESTS_FUZZ_BUDGET_H
#define QUORVA_TESTS_FUZZ_BUDGET_H

#include "fuzztarget.h"
#include "support/growth.h"

#include <chrono>

/**
 * The processor time of the calling thread that an input may take: a fixed amount, and some for each byte. The fuzzers
 * are optimised builds and try short inputs, so their budget is tight. The regression test also runs without
 * optimisation and under sanitizers. Its budget is exceeded only by quadratic costs, at the lengths of the inputs that
 * are kept for that.
 */
#ifdef QUORVA_FUZZING
inline constexpr std::chrono::nanoseconds CostOfAnInput = std::chrono::milliseconds(5);
inline constexpr std::chrono::nanoseconds CostOfAByte = std::chrono::microseconds(2);
#else
inline constexpr std::chrono::nanoseconds CostOfAnInput = std::chrono::milliseconds(200);
inline constexpr std::chrono::nanoseconds CostOfAByte = std::chrono::microseconds(20);
#endif

/**
 * The processor time that an input may take that creates files or sends requests to a database, whatever its length:
 * many times that of the most expensive one, which opens and recovers an environment. Only an endless or nearly endless
 * computation exceeds it; the fuzzer's own time limit covers waiting.
 */
inline constexpr std::chrono::nanoseconds CostOfFiles = std::chrono::seconds(20);

inline std::chrono::nanoseconds budgetFor(std::size_t size)
{
    return CostOfAnInput + static_cast<std::chrono::nanoseconds::rep>(size) * CostOfAByte;
}

/** Runs `work` on an input of `size` bytes, and again when it exceeds the budget, as the machine may be busy. */
template <typename Work> void withinBudget(std::size_t size, Work&& work)
{
    constexpr int Tries = 5;
    bool within = false;
    for (int attempt = 0; attempt < Tries && !within; ++attempt)
        within = processorTime(work) <= budgetFor(size);
    FUZZ_ASSERT(within);
}

/** The same for work that cannot be repeated, with the budget CostOfFiles. */
template <typename Work> void onceWithinBudgetOfFiles(Work&& work)
{
    FUZZ_ASSERT(processorTime(work) <= CostOfFiles);
}

#endif

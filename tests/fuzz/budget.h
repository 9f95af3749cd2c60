#ifndef QUORVA_TESTS_FUZZ_BUDGET_H
#define QUORVA_TESTS_FUZZ_BUDGET_H

#include "fuzztarget.h"
#include "support/growth.h"

#include <chrono>

/**
 * What an input may cost in processor time of the calling thread: a fixed amount, and some for each byte. The fuzzers
 * are built with optimisation and try short inputs, so theirs is tight; the replay also runs without, and under any
 * sanitizer, and its is what only a cost that grows with the square exceeds, at the lengths of the inputs that are kept
 * for it.
 */
#ifdef QUORVA_FUZZING
inline constexpr std::chrono::nanoseconds CostOfAnInput = std::chrono::milliseconds(5);
inline constexpr std::chrono::nanoseconds CostOfAByte = std::chrono::microseconds(2);
#else
inline constexpr std::chrono::nanoseconds CostOfAnInput = std::chrono::milliseconds(200);
inline constexpr std::chrono::nanoseconds CostOfAByte = std::chrono::microseconds(20);
#endif

/**
 * What an input that makes files may cost, or a request to a database, whatever its length: many times what the dearest
 * one takes, opening and recovering an environment among them. What exceeds it goes on for ever, or nearly so, and uses
 * the processor; the fuzzer's own time limit is for what waits.
 */
inline constexpr std::chrono::nanoseconds CostOfFiles = std::chrono::seconds(20);

inline std::chrono::nanoseconds budgetFor(std::size_t size)
{
    return CostOfAnInput + static_cast<std::chrono::nanoseconds::rep>(size) * CostOfAByte;
}

/** Runs `work` on an input of `size` bytes; again, when it was over the budget, as the machine may have been. */
template <typename Work> void withinBudget(std::size_t size, Work&& work)
{
    constexpr int Tries = 5;
    bool within = false;
    for (int attempt = 0; attempt < Tries && !within; ++attempt)
        within = processorTime(work) <= budgetFor(size);
    FUZZ_ASSERT(within);
}

/** The same for work that cannot be done twice, within what files may cost. */
template <typename Work> void onceWithinBudgetOfFiles(Work&& work)
{
    FUZZ_ASSERT(processorTime(work) <= CostOfFiles);
}

#endif

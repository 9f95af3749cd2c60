#ifndef QUORVA_BENCH_COMMON_MEASURE_H
#define QUORVA_BENCH_COMMON_MEASURE_H

#include "common/histogram.h"

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>

namespace Bench {

using Clock = std::chrono::steady_clock;

/** The time window of a measurement: operations that end within it count. Before it is the warm-up. */
struct Window {
    Clock::time_point begin;
    Clock::time_point end;

    /** Begins after the warm-up. */
    Window(double warmUpSeconds, double seconds);

    double seconds() const { return std::chrono::duration<double>(end - begin).count(); }
};

/** What one thread did in the window, or all threads together. */
struct Result {
    Histogram latencies; // of the operations that succeeded in time
    std::uint64_t errors = 0;
    std::uint64_t requestBytes = 0; // of the same operations, headers included; 0 without a wire
    std::uint64_t replyBytes = 0;

    /** Counts an operation that succeeded and ended at `now`, if that is in the window. */
    void addSuccess(const Window& window, Clock::time_point began, Clock::time_point now, std::size_t requestSize = 0,
                    std::size_t replySize = 0);

    void add(const Result& other);
};

/**
 * Prints a result on one line: rate and latencies in words, or with `asJson` as an object with ops, seconds, rate,
 * errors, p50, p99, p999, max (microseconds), requestBytes and replyBytes (means).
 */
void print(const std::string& title, const Result& result, double seconds, bool asJson);

} // namespace Bench

#endif

#ifndef QUORVA_METRICS_LATENCIES_H
#define QUORVA_METRICS_LATENCIES_H

#include "metrics/sharded.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>

namespace Metrics {

/** The classes of latencies: each bound is the inclusive upper end of one; a last class has the rest. */
inline constexpr std::array LatencyBounds = [] {
    using namespace std::chrono_literals;
    return std::array<std::chrono::microseconds, 19>{10us, 20us, 50us,  100us, 200us, 500us, 1ms, 2ms, 5ms, 10ms,
                                                     20ms, 50ms, 100ms, 200ms, 500ms, 1s,    2s,  5s,  10s};
}();
inline constexpr std::size_t LatencyClasses = LatencyBounds.size() + 1;

constexpr std::size_t latencyClass(std::chrono::nanoseconds latency)
{
    const auto* const bound = std::lower_bound(LatencyBounds.begin(), LatencyBounds.end(), latency);
    return static_cast<std::size_t>(bound - LatencyBounds.begin());
}

/** Counts events by how long they took. Any thread. */
class LatencyCounter {
public:
    void add(std::chrono::nanoseconds latency)
    {
        nanoseconds_.add(static_cast<std::uint64_t>(latency.count()));
        classes_[latencyClass(latency)].add();
    }

    /** The sum of all latencies. */
    std::uint64_t nanoseconds() const { return nanoseconds_.value(); }

    std::uint64_t inClass(std::size_t number) const { return classes_[number].value(); }

private:
    Counter nanoseconds_;
    std::array<Counter, LatencyClasses> classes_;
};

} // namespace Metrics

#endif

#ifndef QUORVA_BENCH_COMMON_HISTOGRAM_H
#define QUORVA_BENCH_COMMON_HISTOGRAM_H

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Bench {

/**
 * Counts durations, in nanoseconds, in buckets of bounded relative width: results are at most 1/64 too high. Durations
 * above 2^40 ns (18 minutes) count as that. For one thread; threads keep one each and add them up.
 */
class Histogram {
public:
    Histogram();

    void add(std::uint64_t nanoseconds);
    void add(const Histogram& other);

    std::uint64_t count() const { return count_; }

    /** The duration that a fraction of `quantile` (0 to 1) does not exceed; 0 if there is none. */
    std::uint64_t atQuantile(double quantile) const;

    /** The longest duration, exactly. */
    std::uint64_t longest() const { return longest_; }

private:
    std::vector<std::uint64_t> buckets_;
    std::uint64_t count_ = 0;
    std::uint64_t longest_ = 0;
};

} // namespace Bench

#endif

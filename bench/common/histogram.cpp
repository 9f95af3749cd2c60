#include "common/histogram.h"

#include <algorithm>
#include <bit>
#include <cmath>

namespace Bench {

namespace {

// Each power of two is divided into 64 buckets; numbers below 64 have a bucket each.
constexpr unsigned SubBits = 6;
constexpr std::uint64_t SubBuckets = 1U << SubBits;
constexpr unsigned LargestBits = 40;
constexpr std::size_t BucketCount = (LargestBits - SubBits + 1) * SubBuckets;

std::size_t bucketOf(std::uint64_t value)
{
    value = std::min(value, (std::uint64_t{1} << LargestBits) - 1);
    if (value < SubBuckets)
        return value;
    const auto shift = static_cast<unsigned>(std::bit_width(value)) - SubBits - 1;
    return (shift << SubBits) + (value >> shift);
}

std::uint64_t upperEndOf(std::size_t bucket)
{
    if (bucket < SubBuckets)
        return bucket;
    const std::size_t shift = (bucket >> SubBits) - 1;
    return ((((bucket & (SubBuckets - 1)) | SubBuckets) + 1) << shift) - 1;
}

} // namespace

Histogram::Histogram() : buckets_(BucketCount) {}

void Histogram::add(std::uint64_t nanoseconds)
{
    ++buckets_[bucketOf(nanoseconds)];
    ++count_;
    longest_ = std::max(longest_, nanoseconds);
}

void Histogram::add(const Histogram& other)
{
    for (std::size_t i = 0; i < buckets_.size(); ++i)
        buckets_[i] += other.buckets_[i];
    count_ += other.count_;
    longest_ = std::max(longest_, other.longest_);
}

std::uint64_t Histogram::atQuantile(double quantile) const
{
    const auto wanted = static_cast<std::uint64_t>(std::ceil(quantile * static_cast<double>(count_)));
    std::uint64_t seen = 0;
    for (std::size_t i = 0; i < buckets_.size(); ++i) {
        seen += buckets_[i];
        if (seen >= wanted && seen > 0)
            return std::min(upperEndOf(i), longest_);
    }
    return 0;
}

} // namespace Bench

#ifndef QUORVA_METRICS_SHARDED_H
#define QUORVA_METRICS_SHARDED_H

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>

namespace Metrics {

/** A count that only grows. Any thread. */
class Counter {
public:
    void add(std::uint64_t amount = 1) { value_.fetch_add(amount, std::memory_order_relaxed); }
    std::uint64_t value() const { return value_.load(std::memory_order_relaxed); }

private:
    std::atomic<std::uint64_t> value_{0};
};

/** A small number for the calling thread, the same for its lifetime. */
inline std::size_t threadNumber()
{
    static std::atomic<std::size_t> threads{0};
    thread_local constinit std::size_t number = 0; // 0: none yet
    if (number == 0)
        number = ++threads;
    return number;
}

/**
 * Counters of type T for many threads: each adds to its own shard, which has its own cache lines, and a reader adds
 * the shards up. If there are more threads than shards, several share one, which only costs time.
 * Any thread.
 */
template <typename T, std::size_t Shards> class Sharded {
public:
    T& local() { return shards_[threadNumber() % Shards].counters; }

    /** The sum over all shards of what `count`, a `uint64_t(const T&)` callable, returns. */
    template <typename Count> std::uint64_t sum(Count&& count) const
    {
        std::uint64_t total = 0;
        for (const Shard& shard : shards_)
            total += count(shard.counters);
        return total;
    }

private:
    static constexpr std::size_t CacheLine = 64;
    struct alignas(CacheLine) Shard {
        T counters;
    };

    std::array<Shard, Shards> shards_;
};

} // namespace Metrics

#endif

#ifndef QUORVA_STORAGE_ENGINESAMPLER_H
#define QUORVA_STORAGE_ENGINESAMPLER_H

#include "storage/enginefigures.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>

/**
 * Reads the figures of an environment for callers that must not wait for them: on a thread of its own, started by the
 * first call. While the disk blocks that thread, callers get the figures that it read last.
 *
 * Threads: any, except for the destructor, which waits for a read that is in progress.
 */
class EngineSampler {
    struct State {
        std::mutex mutex; // guards the following
        std::condition_variable changed;
        std::uint64_t ordered = 0; // reads
        std::uint64_t done = 0;    // of these
        bool ending = false;
        std::optional<EngineFigures> figures;
    };

public:
    /** A read that was requested. May outlive the sampler. */
    class Order {
    public:
        /** The figures read; earlier ones, or none, if the read is not done by the deadline or has failed. */
        std::optional<EngineFigures> wait(std::chrono::steady_clock::time_point deadline) const;

    private:
        friend class EngineSampler;
        std::shared_ptr<State> state_;
        std::uint64_t number_ = 0;
        bool mayWait_ = false;
    };

    /** As EngineFigures::read(), for the environment. */
    using Read = std::function<int(EngineFigures*)>;

    /** `read` is called by one thread at a time. */
    explicit EngineSampler(Read read) : read_(std::move(read)) {}
    ~EngineSampler();
    EngineSampler(const EngineSampler&) = delete;
    EngineSampler& operator=(const EngineSampler&) = delete;

    /** Requests a read that begins after this call. If an earlier one is still running, the caller must not wait. */
    Order order();

private:
    void run();

    const Read read_;
    const std::shared_ptr<State> state_ = std::make_shared<State>();
    std::thread thread_; // started under the state's mutex
};

#endif

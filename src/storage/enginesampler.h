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
 * Reads the figures of an environment for those who must not wait for it: on a thread of its own, which is started by
 * the first who asks. If the disk holds that thread up, there are the figures that it has read before.
 *
 * Threads: any, except for the destructor, which waits for a read that is in progress.
 */
class EngineSampler {
    struct State {
        std::mutex mutex; // guards the following
        std::condition_variable changed;
        std::uint64_t ordered = 0; // reads
        std::uint64_t done = 0;    // of them
        bool ending = false;
        std::optional<EngineFigures> figures;
    };

public:
    /** One read that was asked for. May outlive the sampler. */
    class Order {
    public:
        /** The figures that it has read; earlier ones, or none, if it has not by the deadline or failed. */
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

    /** Asks for a read that begins after this call. Whoever finds that an earlier one still runs is not to wait. */
    Order order();

private:
    void run();

    const Read read_;
    const std::shared_ptr<State> state_ = std::make_shared<State>();
    std::thread thread_; // started under the state's mutex
};

#endif

#ifndef QUORVA_STORAGE_BOUNDEDHOLD_H
#define QUORVA_STORAGE_BOUNDEDHOLD_H

#include "storage/commitgate.h"

#include <chrono>
#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>

/**
 * Holds a commit gate exclusively for a limited time: disk I/O under the gate cannot be interrupted, but commits need
 * not wait for it. A separate thread holds the gate and releases it when the time is up, but not before a running
 * whileHeld() has finished.
 */
class BoundedHold {
public:
    BoundedHold() = default;
    ~BoundedHold() { end(); }
    BoundedHold(const BoundedHold&) = delete;
    BoundedHold& operator=(const BoundedHold&) = delete;

    /** Waits for the gate, then holds it for at most `limit`. Call once. 0, or EAGAIN if no thread can be created. */
    [[nodiscard]] int begin(CommitGate& gate, std::chrono::milliseconds limit)
    {
        try {
            holder_ = std::thread([this, &gate, limit] { hold(gate, limit); });
        } catch (const std::system_error& error) {
            return error.code().value();
        }
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return state_ != State::Waiting; });
        return 0;
    }

    /**
     * Calls `work` with the gate guaranteed to be held, however long it takes. False, without calling it, if the time
     * was already up.
     */
    template <typename Work> [[nodiscard]] bool whileHeld(Work&& work)
    {
        const std::lock_guard lock(mutex_); // the holder needs it to release the gate
        if (state_ != State::Held)
            return false;
        std::forward<Work>(work)();
        return true;
    }

    /** Releases the gate. */
    void end()
    {
        {
            const std::lock_guard lock(mutex_);
            ended_ = true;
            changed_.notify_all();
        }
        if (holder_.joinable())
            holder_.join();
    }

private:
    enum class State { Waiting, Held, Over };

    void hold(CommitGate& gate, std::chrono::milliseconds limit)
    {
        const std::unique_lock noCommits(gate);
        std::unique_lock lock(mutex_);
        state_ = State::Held;
        changed_.notify_all();
        changed_.wait_for(lock, limit, [this] { return ended_; });
        state_ = State::Over;
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    State state_ = State::Waiting; // guarded by mutex_, like ended_
    bool ended_ = false;
    std::thread holder_;
};

#endif

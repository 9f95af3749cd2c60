#ifndef QUORVA_TESTS_SUPPORT_DEADLINE_H
#define QUORVA_TESTS_SUPPORT_DEADLINE_H

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <thread>

/**
 * Ends the process, with a message, if this object still exists at its deadline. For tests whose threads deadlock when
 * the tested code is broken: such a test can neither join them nor continue.
 */
class Deadline {
public:
    explicit Deadline(std::chrono::seconds deadline) : deadline_(deadline), watcher_([this] { watch(); }) {}
    ~Deadline()
    {
        {
            const std::lock_guard lock(mutex_);
            met_ = true;
        }
        changed_.notify_one();
        watcher_.join();
    }
    Deadline(const Deadline&) = delete;
    Deadline& operator=(const Deadline&) = delete;

private:
    void watch()
    {
        std::unique_lock lock(mutex_);
        if (changed_.wait_for(lock, deadline_, [this] { return met_; }))
            return;
        std::fprintf(stderr, "the test did not end within %lld seconds\n", static_cast<long long>(deadline_.count()));
        std::abort();
    }

    const std::chrono::seconds deadline_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool met_ = false; // guarded by mutex_
    std::thread watcher_;
};

#endif

#ifndef QUORVA_BENCH_LIMITS_OUTSTANDING_H
#define QUORVA_BENCH_LIMITS_OUTSTANDING_H

#include "common/measure.h"

#include <condition_variable>
#include <mutex>
#include <semaphore>
#include <thread>
#include <vector>

class BDBEnv;

namespace Bench {

/**
 * The operations that clients wait for, while threads run them without waiting: a commit is not on disk yet, and one
 * thread continuously flushes the log, each time for all commits so far. An operation that has written is complete
 * after the first flush that began after its commit.
 *
 * Threads: any number may begin and end operations.
 */
class Outstanding {
public:
    /** At most `most` operations at a time. `env` must outlive this. */
    Outstanding(BDBEnv* env, unsigned most, const Window& window);
    /** Waits for all that have been committed. */
    ~Outstanding();
    Outstanding(const Outstanding&) = delete;
    Outstanding& operator=(const Outstanding&) = delete;

    /** Waits until another operation may begin. */
    void begin() { free_.acquire(); }
    /** The operation is complete, or has failed. */
    void end() { free_.release(); }
    /** It has committed; it is complete, and counted, once it is on disk. */
    void endWhenFlushed(Clock::time_point began);

    /** Waits like the destructor. Returns what was on disk within the window; errors are those of flushes. */
    Result finish();

private:
    void flushAll();
    void flush(const std::vector<Clock::time_point>& committed);

    BDBEnv* const env_;
    const Window window_;
    std::counting_semaphore<> free_;

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<Clock::time_point> committed_; // guarded by mutex_: when they began
    bool isOver_ = false;                      // guarded by mutex_

    Result result_; // the thread's, until it has ended
    std::thread thread_;
};

} // namespace Bench

#endif

#ifndef QUORVA_NET_DBTHREADPOOL_H
#define QUORVA_NET_DBTHREADPOOL_H

#include <QRunnable>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>

/**
 * The threads that run requests. There are more of them while requests wait, up to a maximum, and idle ones end after
 * a while.
 *
 * Not a QThreadPool: a burst of requests on a server with many connections and open databases would take the last
 * descriptors, see Net::tryThread(), and a request whose thread cannot be created would be forgotten.
 *
 * Threads: all but the destructor may be called by any thread.
 */
class DBThreadPool {
public:
    DBThreadPool() = default;
    /** Runs what was started before it returns. */
    ~DBThreadPool();
    DBThreadPool(const DBThreadPool&) = delete;
    DBThreadPool& operator=(const DBThreadPool&) = delete;

    /** At most `count` threads, at least one; idle ones end after `expiry`. Threads that run already are not ended. */
    void configure(int count, std::chrono::milliseconds expiry);

    int maxThreadCount() const;
    std::chrono::milliseconds expiry() const;

    /**
     * Runs `task` on one of the threads, after those that were started before, and deletes it. False when there is no
     * thread at all and none can be created; the task is deleted unused then.
     */
    [[nodiscard]] bool start(std::unique_ptr<QRunnable> task);

    /** Waits until all tasks have run and all threads have ended. No task may be started meanwhile, save by a task. */
    void waitForDone();

private:
    bool callThread();
    bool createThread();
    void runThread();
    std::unique_ptr<QRunnable> nextTask(std::unique_lock<std::mutex>& lock);

    mutable std::mutex mutex_; // guards all of the following
    std::condition_variable taskStarted_;
    std::condition_variable threadEnded_;
    std::deque<std::unique_ptr<QRunnable>> tasks_; // that no thread has taken yet
    std::size_t idleThreads_ = 0;                  // waiting for taskStarted_, those that were just woken included
    bool threadComes_ = false;                     // was woken or created, and has not had the mutex yet
    int threads_ = 0;
    int maxThreads_ = 1;
    std::chrono::milliseconds expiry_{0};
    bool ending_ = false; // idle threads end at once
};

#endif

#ifndef QUORVA_NET_DBTHREADPOOL_H
#define QUORVA_NET_DBTHREADPOOL_H

#include <QRunnable>

#include <chrono>
#include <condition_variable>
#include <deque>
#include <memory>
#include <mutex>

/**
 * The threads that run requests. Grows while requests are queued, up to a maximum; idle threads exit after a while.
 *
 * The maximum limits the requests that run at once, on any thread: a thread outside the pool that runs one enters the
 * pool for that time, and tasks wait while the maximum is running.
 *
 * Not a QThreadPool: a burst of requests on a server with many connections and open databases would use up the
 * descriptors, see Base::tryThread(), and a request whose thread cannot be created would be lost.
 *
 * Threads: all but the destructor may be called by any thread.
 */
class DBThreadPool {
public:
    DBThreadPool() = default;
    /** Runs all queued tasks before it returns. Threads that have entered must have left. */
    ~DBThreadPool();
    DBThreadPool(const DBThreadPool&) = delete;
    DBThreadPool& operator=(const DBThreadPool&) = delete;

    /** At most `count` threads, but at least one; idle ones exit after `expiry`. Running threads are not stopped. */
    void configure(int count, std::chrono::milliseconds expiry);

    /** What the pool is doing at the moment. */
    struct Load {
        int threads = 0; // of the pool
        int running = 0; // tasks, and requests of threads that have entered
        int queued = 0;  // tasks that no thread has taken yet
    };
    Load load() const;

    int maxThreadCount() const;
    std::chrono::milliseconds expiry() const;

    /**
     * Queues `task` for one of the threads, which runs and deletes it. False when there is no thread at all and none
     * can be created; the task is then deleted without being run.
     */
    [[nodiscard]] bool start(std::unique_ptr<QRunnable> task);

    /**
     * Lets the calling thread run one request itself, until leave(). False while the maximum is running, or while tasks
     * are queued, which come first.
     */
    [[nodiscard]] bool tryEnter();
    void leave();

    /** Waits until all tasks have run and all threads have ended. In the meantime only tasks may start tasks. */
    void waitForDone();

private:
    bool callThread();
    bool createThread();
    void runThread();
    std::unique_ptr<QRunnable> nextTask(std::unique_lock<std::mutex>& lock);

    mutable std::mutex mutex_; // guards all of the following
    std::condition_variable taskStarted_;
    std::condition_variable threadEnded_;
    std::deque<std::unique_ptr<QRunnable>> tasks_; // not taken by any thread yet
    std::size_t idleThreads_ = 0;                  // waiting for taskStarted_, including those just woken
    bool threadComes_ = false;                     // one was woken or created, but has not locked the mutex yet
    int threads_ = 0;
    int running_ = 0; // tasks, and threads that have entered
    int maxThreads_ = 1;
    std::chrono::milliseconds expiry_{0};
    bool ending_ = false; // idle threads exit immediately
};

#endif

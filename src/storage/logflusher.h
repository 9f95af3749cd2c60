#ifndef QUORVA_STORAGE_LOGFLUSHER_H
#define QUORVA_STORAGE_LOGFLUSHER_H

#include "storage/environmentuse.h"

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

class BDBEnv;

/**
 * Makes the commits of an environment durable for the requests whose replies wait for it: one flush of the log for all
 * that came before it began. While one flush runs, the next requests gather.
 *
 * Threads: any, except for the destructor.
 */
class LogFlusher {
public:
    /**
     * Called when the request may be answered, by the flusher's thread, which serves all others only after it returns.
     * The argument: 0, or the error of the flush if the request has committed something itself. A request that has only
     * read is always answered: the error concerns the writer whose commit it has seen.
     */
    using Answer = std::function<void(int)>;

    /** Starts the thread. `env` is not owned and outlives the flusher. */
    explicit LogFlusher(BDBEnv* env);

    /** Answers all requests that wait, and ends the thread. */
    ~LogFlusher();
    LogFlusher(const LogFlusher&) = delete;
    LogFlusher& operator=(const LogFlusher&) = delete;

    /** False when the thread could not be started. */
    bool isRunning() const { return thread_.joinable(); }

    /**
     * Makes durable what `use`, which has something unflushed, has to wait for, and ends the use. True if that is done
     * when it returns: with `rc` the caller answers the request itself. False: `answer` will be called, or has been.
     */
    [[nodiscard]] bool flush(EnvironmentUse use, Answer answer, int* rc);

    /** Takes commits that no request waits for: the next flush covers them. */
    void adopt(UnflushedCommits commits) noexcept;

private:
    struct Waiting {
        EnvironmentUse use;
        Answer answer;
    };

    void run();
    void append(UnflushedCommits commits) noexcept;
    int flushLog(std::unique_lock<std::mutex>& lock);
    static int settle(EnvironmentUse* use, int rc);

    BDBEnv* const env_;
    const bool gathers_;
    std::mutex mutex_; // guards all of the following
    std::condition_variable changed_;
    std::vector<Waiting> waiting_;
    std::vector<UnflushedCommits> adopted_; // without a waiting request, or no longer with one, as a flush failed
    bool flushing_ = false;                 // the thread, or a request's
    bool ending_ = false;
    std::thread thread_;
};

#endif

#include "storage/logflusher.h"

#include "base/trythread.h"
#include "base/wakeuppreemption.h"
#include "log/log.h"
#include "storage/bdbenv.h"

#include <chrono>
#include <new>
#include <utility>

namespace {

// How long a flush waits for requests that still run, if the log is written synchronously (DB_LOG_DSYNC): Berkeley DB
// holds the log's mutex during the write, so all transactions stop. Measured: a wait of 0.2 to 0.5 ms lets 8 and 64
// clients write 1.6 and 1.8 times as much. If the log is synchronised after it was written, a flush stops nobody, and
// waiting gains nothing.
constexpr std::chrono::microseconds GatherTime{300};

} // namespace

LogFlusher::LogFlusher(BDBEnv* env) : env_(env), gathers_(env->writesLogSynchronously())
{
    thread_ = Base::tryThread([this] { run(); }); // the caller asks isRunning()
}

LogFlusher::~LogFlusher()
{
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
        changed_.notify_all();
    }
    if (thread_.joinable())
        thread_.join();
}

bool LogFlusher::flush(EnvironmentUse use, Answer answer, int* rc)
{
    Base::WakeupPreemption::regain(); // even if another thread waits for it
    std::unique_lock lock(mutex_);
    const bool isAlone = !flushing_ && waiting_.empty() && env_->uses()->users() == 1;
    if (!isAlone) {
        try {
            waiting_.emplace_back(); // before anything is moved there, which cannot fail
            waiting_.back() = {std::move(use), std::move(answer)};
            waiting_.back().use.beginWaiting();
            if (!flushing_ && waiting_.size() == 1)
                changed_.notify_all();
            return false;
        } catch (const std::bad_alloc&) {
            lock.unlock();
            *rc = settle(&use, env_->log_flush(nullptr));
            return true;
        }
    }
    // The way through the thread would only cost time.
    flushing_ = true;
    *rc = settle(&use, flushLog(lock));
    lock.lock();
    flushing_ = false;
    changed_.notify_all();
    return true;
}

void LogFlusher::adopt(UnflushedCommits commits) noexcept
{
    const std::lock_guard lock(mutex_);
    append(std::move(commits));
}

/** adopt() for a caller that holds the mutex. */
void LogFlusher::append(UnflushedCommits commits) noexcept
{
    try {
        adopted_.push_back(std::move(commits));
    } catch (const std::bad_alloc&) {
        // Their counts stay as they are: readers of these files wait for a flush, needlessly.
    }
}

void LogFlusher::run()
{
    std::vector<Waiting> served;
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return !flushing_ && (ending_ || !waiting_.empty()); });
        if (waiting_.empty())
            return;
        if (gathers_) { // nobody else flushes meanwhile: requests do only when none waits
            lock.unlock();
            (void)env_->uses()->waitUntilNoneWorks(GatherTime); // ignored: requests that have arrived are served anyway
            lock.lock();
        }
        served.swap(waiting_);
        flushing_ = true;
        const int rc = flushLog(lock);
        for (Waiting& request : served) {
            const int result = settle(&request.use, rc);
            request.answer(result);
        }
        served.clear();
        lock.lock();
        flushing_ = false;
        changed_.notify_all();
    }
}

/** For the caller that has set flushing_. Releases the mutex. */
int LogFlusher::flushLog(std::unique_lock<std::mutex>& lock)
{
    std::vector<UnflushedCommits> adopted = std::exchange(adopted_, {});
    lock.unlock();
    const int rc = env_->log_flush(nullptr);
    if (rc == 0) {
        for (UnflushedCommits& commits : adopted)
            commits.settle();
    } else {
        const std::lock_guard again(mutex_);
        adopted_.swap(adopted); // appends the few that came meanwhile to the many, not the reverse
        for (UnflushedCommits& commits : adopted)
            append(std::move(commits));
    }
    return rc;
}

/** Ends the use after the flush with that result, and returns the request's own. Without the mutex. */
int LogFlusher::settle(EnvironmentUse* use, int rc)
{
    const bool hasWritten = use->unflushed().hasWritten();
    if (rc == 0)
        use->unflushed().settle();
    use->reset(); // adopts what is left
    if (rc == 0 || !hasWritten)
        return 0;
    LOG_ERROR(LogOrigin::Engine, __LINE__) << "txn commit failed rc " << rc;
    return rc;
}

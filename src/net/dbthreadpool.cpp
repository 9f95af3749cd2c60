#include "net/dbthreadpool.h"

#include "base/trythread.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace {

/** How long a thread executes tasks back to back before it yields. */
constexpr std::chrono::microseconds WorkAtOnce{200};

} // namespace

DBThreadPool::~DBThreadPool()
{
    waitForDone();
}

void DBThreadPool::configure(int count, std::chrono::milliseconds expiry)
{
    const std::lock_guard lock(mutex_);
    maxThreads_ = std::max(count, 1);
    expiry_ = expiry;
}

DBThreadPool::Load DBThreadPool::load() const
{
    const std::lock_guard lock(mutex_);
    return {threads_, running_, static_cast<int>(tasks_.size())};
}

int DBThreadPool::maxThreadCount() const
{
    const std::lock_guard lock(mutex_);
    return maxThreads_;
}

std::chrono::milliseconds DBThreadPool::expiry() const
{
    const std::lock_guard lock(mutex_);
    return expiry_;
}

bool DBThreadPool::start(std::unique_ptr<QRunnable> task)
{
    std::unique_lock lock(mutex_);
    tasks_.push_back(std::move(task));
    const bool wake = callThread();
    if (threads_ == 0) {
        tasks_.pop_back();
        return false;
    }
    lock.unlock(); // otherwise the woken thread would only block on the mutex
    if (wake)
        taskStarted_.notify_one();
    return true; // even without a thread to wake: a busy one will take the task
}

bool DBThreadPool::tryEnter()
{
    const std::lock_guard lock(mutex_);
    if (running_ >= maxThreads_ || !tasks_.empty())
        return false;
    ++running_;
    return true;
}

void DBThreadPool::leave()
{
    std::unique_lock lock(mutex_);
    --running_;
    const bool wake = !tasks_.empty() && callThread();
    lock.unlock();
    if (wake)
        taskStarted_.notify_one();
}

/**
 * Gets one more thread for the queued tasks, with the mutex held; true if the caller must wake an idle one after
 * releasing it. One at a time: a thread that takes a task gets the next one if more are queued. Busy threads have often
 * taken them before it arrives, so on busy processors few threads do the work of many, and no task waits longer than
 * one thread's wake-up.
 */
bool DBThreadPool::callThread()
{
    // The first thread is created immediately, even if it must wait: without any, start() can still refuse the task.
    if (threadComes_ || (threads_ > 0 && running_ >= maxThreads_))
        return false;
    if (idleThreads_ > 0) {
        threadComes_ = true;
        return true;
    }
    if (threads_ < maxThreads_)
        threadComes_ = createThread();
    return false;
}

/** The caller holds the mutex, which the new thread waits for. */
bool DBThreadPool::createThread()
{
    std::thread thread = Base::tryThread([this] { runThread(); });
    if (!thread.joinable())
        return false;
    thread.detach();
    ++threads_;
    return true;
}

void DBThreadPool::runThread()
{
    using Clock = std::chrono::steady_clock;
    Clock::time_point begun; // when this thread began to run tasks without a pause
    std::unique_lock lock(mutex_);
    threadComes_ = false;
    for (bool waits = true;; waits = tasks_.empty()) {
        std::unique_ptr<QRunnable> task = nextTask(lock);
        if (!task)
            break;
        const bool wake = !tasks_.empty() && callThread();
        lock.unlock();
        if (wake)
            taskStarted_.notify_one();
        if (waits)
            begun = Clock::now();
        task->run();
        task.reset();
        // Otherwise the time slice would end in the middle of a task, which would then wait until all other threads
        // have used up theirs.
        if (Clock::now() - begun > WorkAtOnce) {
            std::this_thread::yield();
            begun = Clock::now();
        }
        lock.lock();
        --running_;
    }
    --threads_;
    threadEnded_.notify_all(); // under the mutex: once it is free, the pool may be destroyed
}

/** Waits for a task that may run, which then counts as running; null if the thread should exit. */
std::unique_ptr<QRunnable> DBThreadPool::nextTask(std::unique_lock<std::mutex>& lock)
{
    while (tasks_.empty() || running_ >= maxThreads_) {
        if (ending_ && tasks_.empty())
            return nullptr;
        ++idleThreads_;
        const std::cv_status status = taskStarted_.wait_for(lock, expiry_);
        --idleThreads_;
        threadComes_ = false;
        // cppcheck-suppress knownConditionTrueFalse ; others use the mutex during the wait
        if (status == std::cv_status::timeout && tasks_.empty())
            return nullptr;
    }
    std::unique_ptr<QRunnable> task = std::move(tasks_.front());
    tasks_.pop_front();
    ++running_;
    if (ending_ && tasks_.empty())
        taskStarted_.notify_all(); // threads that waited until this task could run may exit
    return task;
}

void DBThreadPool::waitForDone()
{
    std::unique_lock lock(mutex_);
    ending_ = true;
    taskStarted_.notify_all();
    threadEnded_.wait(lock, [this] { return threads_ == 0; });
    ending_ = false;
}

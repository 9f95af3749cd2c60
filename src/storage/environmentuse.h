#ifndef QUORVA_STORAGE_ENVIRONMENTUSE_H
#define QUORVA_STORAGE_ENVIRONMENTUSE_H

#include "storage/accesslock.h"
#include "storage/unflushedcommits.h"

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>

class BDBEnv;

/**
 * Counts the requests that use an environment, and those of them that only wait for a flush of its log. Removing an
 * environment waits here for the last one, so that no request touches a destroyed environment. Outlives the
 * environment: the last user may still be in leave() when the remover continues.
 */
class EnvironmentUseCount {
public:
    void enter()
    {
        const std::lock_guard lock(mutex_);
        ++users_;
    }

    /** The user has done its work, and from here on only waits for a flush. */
    void beginWaiting()
    {
        const std::lock_guard lock(mutex_);
        ++waiting_;
        notifyIfNoneWorks();
    }

    /** `waits`: after beginWaiting(). */
    void leave(bool waits)
    {
        const std::lock_guard lock(mutex_);
        --users_;
        waiting_ -= waits ? 1 : 0;
        notifyIfNoneWorks();
    }

    int users()
    {
        const std::lock_guard lock(mutex_);
        return users_;
    }

    void waitUnused()
    {
        std::unique_lock lock(mutex_);
        noneWorks_.wait(lock, [this] { return users_ == 0; });
    }

    /** Waits until all remaining users only wait for a flush. False when that takes longer than `limit`. */
    bool waitUntilNoneWorks(std::chrono::microseconds limit)
    {
        std::unique_lock lock(mutex_);
        return noneWorks_.wait_for(lock, limit, [this] { return users_ == waiting_; });
    }

private:
    void notifyIfNoneWorks()
    {
        if (users_ == waiting_)
            noneWorks_.notify_all();
    }

    std::mutex mutex_;                  // guards the following
    std::condition_variable noneWorks_; // perhaps because there are no users
    int users_ = 0;
    int waiting_ = 0; // of the users
};

/**
 * One use of an environment, which is not destroyed during the object's lifetime. The registry hands it out with the
 * environment's access lock, which the user may then acquire. Used by one thread at a time; only a hold on the access
 * lock binds it to the thread that acquired it.
 */
class EnvironmentUse {
public:
    EnvironmentUse() = default;
    /** Counts itself: the caller ensures that `env` is not destroyed during the call. `access` may be null. */
    EnvironmentUse(BDBEnv* env, std::shared_ptr<EnvironmentUseCount> count, std::shared_ptr<AccessLock> access)
        : env_(env), count_(std::move(count)), access_(std::move(access))
    {
        count_->enter();
    }
    EnvironmentUse(EnvironmentUse&& other) noexcept { take(other); }
    EnvironmentUse& operator=(EnvironmentUse&& other) noexcept
    {
        if (this != &other) {
            reset();
            take(other);
        }
        return *this;
    }
    ~EnvironmentUse() { reset(); }

    BDBEnv* env() const { return env_; }

    /** What must be durable before the request may be answered. */
    UnflushedCommits& unflushed() { return unflushed_; }
    const UnflushedCommits& unflushed() const { return unflushed_; }

    /**
     * Acquires the access lock shared, until reset(). False, without waiting, while a DeleteTable holds the lock or
     * waits for it. A DeleteTable that has removed the environment waits for the end of this use before it releases the
     * lock, so on success the environment is registered and stays so.
     */
    [[nodiscard]] bool shareAccess()
    {
        shares_ = shares_ || (access_ && access_->tryLockForRead());
        return shares_;
    }

    /** Has done its work, and from here on only waits for a flush. */
    void beginWaiting()
    {
        waits_ = true;
        count_->beginWaiting();
    }

    /** Forgets the hold on the access lock without releasing it, which is left to the caller. */
    void dismissAccess() { shares_ = false; }

    /** Releases a hold on the access lock, on the thread that acquired it. The environment stays in use. */
    void releaseAccess()
    {
        if (std::exchange(shares_, false))
            access_->unlock();
        access_.reset();
    }

    /**
     * Ends the use and releases a hold on the access lock, on the thread that acquired it. Commits that are not durable
     * yet become so later.
     */
    void reset()
    {
        if (unflushed_.hasWritten())
            leaveUnflushed();
        env_ = nullptr;
        releaseAccess();
        if (const auto count = std::exchange(count_, nullptr))
            count->leave(std::exchange(waits_, false));
    }

private:
    void leaveUnflushed();

    void take(EnvironmentUse& other) noexcept
    {
        env_ = std::exchange(other.env_, nullptr);
        count_ = std::move(other.count_);
        access_ = std::move(other.access_);
        shares_ = std::exchange(other.shares_, false);
        waits_ = std::exchange(other.waits_, false);
        unflushed_ = std::move(other.unflushed_);
    }

    BDBEnv* env_ = nullptr; // not owned
    std::shared_ptr<EnvironmentUseCount> count_;
    std::shared_ptr<AccessLock> access_;
    bool shares_ = false; // access_ is locked by this object
    bool waits_ = false;
    UnflushedCommits unflushed_;
};

#endif

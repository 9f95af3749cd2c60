#ifndef QUORVA_STORAGE_ENVIRONMENTUSE_H
#define QUORVA_STORAGE_ENVIRONMENTUSE_H

#include "storage/accesslock.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <utility>

class BDBEnv;

/**
 * Counts the requests that hold on to an environment. Removing an environment waits here until nobody does, so that a
 * request never touches one that was destroyed. Outlives the environment: the last holder may still be in leave() when
 * the remover goes on.
 */
class EnvironmentUseCount {
public:
    void enter()
    {
        const std::lock_guard lock(mutex_);
        ++users_;
    }

    void leave()
    {
        const std::lock_guard lock(mutex_);
        if (--users_ == 0)
            unused_.notify_all();
    }

    void waitUnused()
    {
        std::unique_lock lock(mutex_);
        unused_.wait(lock, [this] { return users_ == 0; });
    }

private:
    std::mutex mutex_;
    std::condition_variable unused_;
    int users_ = 0; // guarded by mutex_
};

/**
 * One use of an environment, for as long as the object lives: the environment is not destroyed meanwhile. The registry
 * hands it out together with the environment's access lock, which the user may then hold as well. Used by one thread.
 */
class EnvironmentUse {
public:
    EnvironmentUse() = default;
    /** Counts itself in: the caller makes sure that `env` is not being destroyed meanwhile. `access` may be null. */
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

    /**
     * Takes the access lock shared, until reset(). False, without waiting, while a DeleteTable holds the lock or waits
     * for it. One that has removed the environment waits for the end of this use before it gives the lock back; so
     * whoever gets it here has an environment that is registered, and stays so.
     */
    [[nodiscard]] bool shareAccess()
    {
        shares_ = shares_ || (access_ && access_->tryLockForRead());
        return shares_;
    }

    /** Forgets the hold on the access lock without giving it back: the caller sees to that. */
    void dismissAccess() { shares_ = false; }

    /** Ends the use. What is held of the access lock is given back, on the thread that took it. */
    void reset()
    {
        env_ = nullptr;
        if (std::exchange(shares_, false))
            access_->unlock();
        access_.reset();
        if (const auto count = std::exchange(count_, nullptr))
            count->leave();
    }

private:
    void take(EnvironmentUse& other) noexcept
    {
        env_ = std::exchange(other.env_, nullptr);
        count_ = std::move(other.count_);
        access_ = std::move(other.access_);
        shares_ = std::exchange(other.shares_, false);
    }

    BDBEnv* env_ = nullptr; // not owned
    std::shared_ptr<EnvironmentUseCount> count_;
    std::shared_ptr<AccessLock> access_;
    bool shares_ = false; // access_ is locked by this object
};

#endif

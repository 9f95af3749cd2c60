#ifndef QUORVA_STORAGE_ENVIRONMENTUSE_H
#define QUORVA_STORAGE_ENVIRONMENTUSE_H

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

/** One hold on an environment, for as long as the object lives. Made by the registry; used by one thread. */
class EnvironmentUse {
public:
    EnvironmentUse() = default;
    /** Counts itself in: the caller makes sure that `env` is not being destroyed meanwhile. */
    EnvironmentUse(BDBEnv* env, std::shared_ptr<EnvironmentUseCount> count) : env_(env), count_(std::move(count))
    {
        count_->enter();
    }
    EnvironmentUse(EnvironmentUse&& other) noexcept
        : env_(std::exchange(other.env_, nullptr)), count_(std::move(other.count_))
    {}
    EnvironmentUse& operator=(EnvironmentUse&& other) noexcept
    {
        if (this != &other) {
            reset();
            env_ = std::exchange(other.env_, nullptr);
            count_ = std::move(other.count_);
        }
        return *this;
    }
    ~EnvironmentUse() { reset(); }

    BDBEnv* env() const { return env_; }

    void reset()
    {
        env_ = nullptr;
        if (const auto count = std::exchange(count_, nullptr))
            count->leave();
    }

private:
    BDBEnv* env_ = nullptr; // not owned
    std::shared_ptr<EnvironmentUseCount> count_;
};

#endif

#ifndef QUORVA_TESTS_NET_POOLTASK_H
#define QUORVA_TESTS_NET_POOLTASK_H

#include "net/dbthreadpool.h"

#include <QRunnable>

#include <atomic>
#include <functional>
#include <memory>
#include <utility>

/** Runs a function. Counts the existing tasks. */
class PoolTask : public QRunnable {
public:
    explicit PoolTask(std::function<void()> action) : action_(std::move(action)) { ++alive; }
    ~PoolTask() override { --alive; }
    void run() override { action_(); }

    static inline std::atomic<int> alive{0};

private:
    std::function<void()> action_;
};

inline bool start(DBThreadPool& pool, std::function<void()> action)
{
    return pool.start(std::make_unique<PoolTask>(std::move(action)));
}

#endif

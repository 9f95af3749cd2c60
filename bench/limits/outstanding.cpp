#include "limits/outstanding.h"

#include "storage/bdbenv.h"

#include <utility>

namespace Bench {

Outstanding::Outstanding(BDBEnv* env, unsigned most, const Window& window)
    : env_(env), window_(window), free_(static_cast<std::ptrdiff_t>(most)), thread_([this] { flushAll(); })
{}

Outstanding::~Outstanding()
{
    (void)finish(); // the result is no longer needed
}

void Outstanding::endWhenFlushed(Clock::time_point began)
{
    const std::scoped_lock lock(mutex_);
    committed_.push_back(began);
    if (committed_.size() == 1)
        changed_.notify_one();
}

Result Outstanding::finish()
{
    {
        const std::scoped_lock lock(mutex_);
        isOver_ = true;
        changed_.notify_one();
    }
    if (thread_.joinable())
        thread_.join();
    return result_;
}

void Outstanding::flushAll()
{
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return isOver_ || !committed_.empty(); });
        if (committed_.empty())
            return;
        const std::vector<Clock::time_point> committed = std::exchange(committed_, {});
        lock.unlock();
        flush(committed);
        lock.lock();
    }
}

void Outstanding::flush(const std::vector<Clock::time_point>& committed)
{
    const int rc = env_->log_flush(nullptr);
    const Clock::time_point now = Clock::now();
    for (const Clock::time_point began : committed) {
        if (rc == 0)
            result_.addSuccess(window_, began, now);
        else
            ++result_.errors;
    }
    free_.release(static_cast<std::ptrdiff_t>(committed.size()));
}

} // namespace Bench

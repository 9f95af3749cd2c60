#include "base/memorytrimmer.h"

#include "base/trythread.h"

#include <malloc.h>

namespace Base {

MemoryTrimmer::MemoryTrimmer(std::chrono::milliseconds delay) : delay_(delay) {}

MemoryTrimmer::~MemoryTrimmer()
{
    {
        const std::lock_guard lock(mutex_);
        isEnding_ = true;
        ending_.notify_all();
    }
    if (thread_.joinable())
        thread_.join();
}

void MemoryTrimmer::noteFreed(std::size_t bytes)
{
    if (bytes <= LargeBytes)
        return;
    const std::lock_guard lock(mutex_);
    wanted_ = true;
    if (running_)
        return;
    if (thread_.joinable())
        thread_.join(); // it has ended
    thread_ = Base::tryThread([this] { run(); });
    running_ = thread_.joinable(); // otherwise the next large request tries again
}

int MemoryTrimmer::trims()
{
    const std::lock_guard lock(mutex_);
    return trims_;
}

void MemoryTrimmer::run()
{
    std::unique_lock lock(mutex_);
    while (wanted_ && !ending_.wait_for(lock, delay_, [this] { return isEnding_; })) {
        wanted_ = false;
        lock.unlock();
        (void)malloc_trim(0);
        lock.lock();
        ++trims_;
    }
    running_ = false;
}

} // namespace Base

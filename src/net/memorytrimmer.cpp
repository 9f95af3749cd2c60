#include "net/memorytrimmer.h"

#include "net/trythread.h"

#include <malloc.h>

MemoryTrimmer::MemoryTrimmer(std::chrono::milliseconds delay) : delay_(delay) {}

MemoryTrimmer::~MemoryTrimmer()
{
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
        changed_.notify_all();
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
    if (!thread_.joinable())
        thread_ = Net::tryThread([this] { run(); }); // without a thread, the next large request tries again
    changed_.notify_all();
}

int MemoryTrimmer::trims()
{
    const std::lock_guard lock(mutex_);
    return trims_;
}

void MemoryTrimmer::run()
{
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return ending_ || wanted_; });
        if (changed_.wait_for(lock, delay_, [this] { return ending_; }))
            return;
        wanted_ = false;
        lock.unlock();
        (void)malloc_trim(0);
        lock.lock();
        ++trims_;
    }
}

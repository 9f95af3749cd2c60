#ifndef QUORVA_BASE_MEMORYTRIMMER_H
#define QUORVA_BASE_MEMORYTRIMMER_H

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <thread>

namespace Base {

/**
 * Returns memory to the system after large requests. The allocator keeps freed memory for later use, hundreds of MiB
 * after a few large requests. Returning it takes milliseconds in which other threads wait for the allocator, so a
 * separate thread does it once for all large requests of a short period.
 *
 * Threads: any, except for the destructor.
 */
class MemoryTrimmer {
public:
    /** A request or reply of more bytes is large: this is many times a page of items of 1 KB. */
    static constexpr std::size_t LargeBytes = 1024 * 1024;

    /** `delay` is the time from the first large request to the return. */
    explicit MemoryTrimmer(std::chrono::milliseconds delay = std::chrono::seconds(10));
    ~MemoryTrimmer();
    MemoryTrimmer(const MemoryTrimmer&) = delete;
    MemoryTrimmer& operator=(const MemoryTrimmer&) = delete;

    /** A request or reply of this size was freed, or is about to be. */
    void noteFreed(std::size_t bytes);

    /** How often memory has been returned. */
    int trims();

private:
    void run();

    const std::chrono::milliseconds delay_;
    std::mutex mutex_; // guards the following
    std::condition_variable ending_;
    bool isEnding_ = false;
    bool wanted_ = false;
    bool running_ = false; // the thread
    int trims_ = 0;
    std::thread thread_; // started by a large request; exits after returning the memory
};

} // namespace Base

#endif

#include "replacedcalls.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdlib>
#include <mutex>
#include <new>
#include <random>

#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

thread_local RecordedPauses* recording = nullptr;
thread_local std::size_t refusedSize = 0; // 0: none
std::atomic<std::time_t> clockOffset{0};

std::mutex stallMutex;
std::condition_variable stallEnd;
ino_t stalledInode = 0; // guarded by stallMutex

} // namespace

RecordedPauses::RecordedPauses(int answer) : random(answer)
{
    recording = this;
}

RecordedPauses::~RecordedPauses()
{
    recording = nullptr;
}

StalledLock::StalledLock(const char* directory)
{
    struct stat status {};
    if (::stat(directory, &status) != 0)
        std::abort();
    const std::lock_guard guard(stallMutex);
    stalledInode = status.st_ino;
}

StalledLock::~StalledLock()
{
    {
        const std::lock_guard guard(stallMutex);
        stalledInode = 0;
    }
    stallEnd.notify_all();
}

NoMemoryFor::NoMemoryFor(std::size_t size)
{
    refusedSize = size;
}

NoMemoryFor::~NoMemoryFor()
{
    refusedSize = 0;
}

void* operator new(std::size_t size)
{
    if (size > 0 && size == refusedSize)
        throw std::bad_alloc();
    if (void* memory = std::malloc(size == 0 ? 1 : size))
        return memory;
    throw std::bad_alloc();
}

void* operator new(std::size_t size, std::align_val_t alignment)
{
    if (size > 0 && size == refusedSize)
        throw std::bad_alloc();
    const auto boundary = static_cast<std::size_t>(alignment);
    if (void* memory = std::aligned_alloc(boundary, (size + boundary - 1) / boundary * boundary))
        return memory;
    throw std::bad_alloc();
}

void operator delete(void* memory, std::align_val_t) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t, std::align_val_t) noexcept
{
    std::free(memory);
}

void operator delete(void* memory) noexcept
{
    std::free(memory);
}

void operator delete(void* memory, std::size_t) noexcept
{
    std::free(memory);
}

void advanceClock(std::chrono::seconds by)
{
    clockOffset += by.count();
}

extern "C" int rand() noexcept
{
    if (recording != nullptr)
        return recording->random;
    thread_local std::minstd_rand generator(std::random_device{}());
    return static_cast<int>(generator() & RAND_MAX);
}

extern "C" int nanosleep(const timespec* wanted, timespec* left)
{
    if (recording == nullptr)
        return clock_nanosleep(CLOCK_REALTIME, 0, wanted, left);
    recording->milliseconds.push_back(static_cast<long>(wanted->tv_sec) * 1000 + wanted->tv_nsec / 1000000);
    return 0;
}

extern "C" int flock(int descriptor, int operation) noexcept
{
    struct stat status {};
    if (::fstat(descriptor, &status) == 0) {
        std::unique_lock guard(stallMutex);
        stallEnd.wait(guard, [&] { return stalledInode != status.st_ino; });
    }
    return static_cast<int>(::syscall(SYS_flock, descriptor, operation));
}

// Berkeley DB calls it with memory that it guards in its own way, which ThreadSanitizer cannot see.
extern "C" __attribute__((no_sanitize_thread)) std::time_t time(std::time_t* out) noexcept
{
    timespec now{};
    (void)clock_gettime(CLOCK_REALTIME, &now);
    const std::time_t answer = now.tv_sec + clockOffset.load();
    if (out != nullptr)
        *out = answer;
    return answer;
}

/*
 * Replaces the allocation functions of a program that preloads it, see scarcememory.h. Without sanitizers, and without
 * libraries other than the standard ones.
 */
#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdlib>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* old, std::size_t size);
}

namespace {

std::atomic<std::atomic<int>*> left; // null until the library has been initialised

__attribute__((constructor)) void findLeft()
{
    const char* const path = std::getenv("QUORVA_SCARCE_MEMORY");
    const int descriptor = path == nullptr ? -1 : open(path, O_RDWR | O_CLOEXEC);
    void* const page = descriptor < 0
                           ? MAP_FAILED
                           : mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0);
    if (descriptor >= 0)
        close(descriptor);
    if (page != MAP_FAILED)
        left = static_cast<std::atomic<int>*>(page);
}

/** Counts an allocation; true if it is the one that is to fail. */
bool fails()
{
    std::atomic<int>* const counter = left;
    if (counter == nullptr)
        return false;
    int now = *counter;
    while (now > 0 && !counter->compare_exchange_weak(now, now - 1)) {
    }
    if (now != 1)
        return false;
    errno = ENOMEM;
    return true;
}

} // namespace

extern "C" {

void* malloc(std::size_t size)
{
    return fails() ? nullptr : __libc_malloc(size);
}

void* calloc(std::size_t count, std::size_t size)
{
    return fails() ? nullptr : __libc_calloc(count, size);
}

void* realloc(void* old, std::size_t size)
{
    return fails() ? nullptr : __libc_realloc(old, size);
}
}

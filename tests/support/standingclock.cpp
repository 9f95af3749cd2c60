/*
 * Replaces the clock with which Berkeley DB dates commits, in a server that preloads it, see standingclock.h. Without
 * sanitizers, and without libraries other than the standard ones.
 */
#include <atomic>
#include <cstdlib>
#include <ctime>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

namespace {

const std::atomic<long>* hands()
{
    static const std::atomic<long> none{0};
    const char* const path = std::getenv("QUORVA_STANDING_CLOCK");
    const int descriptor = path == nullptr ? -1 : open(path, O_RDONLY | O_CLOEXEC);
    void* const page = descriptor < 0 ? MAP_FAILED : mmap(nullptr, sizeof none, PROT_READ, MAP_SHARED, descriptor, 0);
    if (descriptor >= 0)
        close(descriptor);
    return page == MAP_FAILED ? &none : static_cast<const std::atomic<long>*>(page);
}

} // namespace

extern "C" time_t time(time_t* result) noexcept
{
    static const std::atomic<long>* const seconds = hands();
    timespec now = {};
    clock_gettime(CLOCK_REALTIME, &now);
    const time_t shown = *seconds == 0 ? now.tv_sec : time_t{*seconds};
    if (result != nullptr)
        *result = shown;
    return shown;
}

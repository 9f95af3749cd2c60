#include "logfixture.h"

#include <atomic>
#include <cstdlib>

namespace {

std::atomic<std::time_t> pretendedTime{0}; // 0: the real time

} // namespace

// The linker redirects calls of time() here, those of the log among them.
extern "C" std::time_t __real_time(std::time_t* result);
extern "C" std::time_t __wrap_time(std::time_t* result)
{
    const std::time_t pretended = pretendedTime;
    if (pretended == 0)
        return __real_time(result);
    if (result != nullptr)
        *result = pretended;
    return pretended;
}

PretendedTime::PretendedTime(const char* zone, std::time_t time)
{
    setenv("TZ", zone, 1);
    tzset();
    pretendedTime = time;
}

PretendedTime::~PretendedTime()
{
    pretendedTime = 0;
    unsetenv("TZ");
    tzset();
}

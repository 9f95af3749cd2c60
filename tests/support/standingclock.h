#ifndef QUORVA_TESTS_SUPPORT_STANDINGCLOCK_H
#define QUORVA_TESTS_SUPPORT_STANDINGCLOCK_H

#include "support/tempdir.h"

#include <atomic>
#include <ctime>
#include <fstream>
#include <map>
#include <string>

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

/**
 * The clock with which a server that runs with `environment()` dates its commits. It is the system's until a test sets
 * it; from then on it is stopped, so that nothing depends on how long a test takes.
 */
class StandingClock {
public:
    StandingClock()
    {
        std::ofstream(file_, std::ios::binary) << std::string(sizeof(std::atomic<long>), '\0');
        const int descriptor = open(file_.c_str(), O_RDWR | O_CLOEXEC);
        seconds_ = static_cast<std::atomic<long>*>(
            mmap(nullptr, sizeof(std::atomic<long>), PROT_READ | PROT_WRITE, MAP_SHARED, descriptor, 0));
        close(descriptor);
    }
    ~StandingClock() { munmap(seconds_, sizeof(std::atomic<long>)); }
    StandingClock(const StandingClock&) = delete;
    StandingClock& operator=(const StandingClock&) = delete;

    std::map<std::string, std::string> environment(const char* library) const
    {
        return {{"LD_PRELOAD", library}, {"QUORVA_STANDING_CLOCK", file_}};
    }

    /** What the clock shows. */
    std::time_t now() const
    {
        const long set = *seconds_;
        return set == 0 ? std::time(nullptr) : std::time_t{set};
    }

    void set(std::time_t time) { *seconds_ = time; }
    /** Only after set(). */
    void advance(long seconds) { *seconds_ += seconds; }

private:
    const TempDir directory_;
    const std::string file_ = directory_.file("clock");
    std::atomic<long>* seconds_;
};

#endif

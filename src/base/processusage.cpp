#include "base/processusage.h"

#include "base/directoryentries.h"

#include <sys/resource.h>
#include <unistd.h>

#include <fstream>

namespace Base {

namespace {

std::uint64_t residentBytes()
{
    std::uint64_t total = 0;
    std::uint64_t resident = 0;
    std::ifstream("/proc/self/statm") >> total >> resident;
    return resident * static_cast<std::uint64_t>(sysconf(_SC_PAGESIZE));
}

double seconds(const timeval& time)
{
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_usec) / 1e6;
}

std::uint64_t openDescriptors()
{
    std::uint64_t count = 0;
    (void)forEachEntry("/proc/self/fd", [&](const std::filesystem::directory_entry&) {
        ++count;
        return 0;
    });
    return count > 0 ? count - 1 : 0; // without the one that reads the directory
}

} // namespace

ProcessUsage processUsage()
{
    ProcessUsage usage;
    usage.residentBytes = residentBytes();
    rusage used{};
    if (getrusage(RUSAGE_SELF, &used) == 0)
        usage.processorSeconds = seconds(used.ru_utime) + seconds(used.ru_stime);
    usage.descriptors = openDescriptors();
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) == 0)
        usage.descriptorLimit = limit.rlim_cur;
    return usage;
}

} // namespace Base

#include "writeback/faults.h"

#include <atomic>
#include <csignal>
#include <cstdlib>

#include <sys/syscall.h>
#include <unistd.h>

namespace WriteBack {

void dieIfAsked(const std::string& path)
{
    static const char* const trigger = std::getenv("CRASH_KILL_FILE");
    static const char* const name = std::getenv("CRASH_KILL_NAME");
    static const char* const number = std::getenv("CRASH_KILL_SYNC");
    static std::atomic<int> count{0};
    if (trigger != nullptr && name != nullptr && number != nullptr && path.find(name) != std::string::npos &&
        syscall(SYS_access, trigger, F_OK) == 0 && ++count == std::atoi(number))
        (void)kill(getpid(), SIGKILL);
}

void dieWhenRemoved(const std::string& path)
{
    static const char* const trigger = std::getenv("CRASH_KILL_FILE");
    static const char* const removed = std::getenv("CRASH_KILL_REMOVED");
    if (trigger != nullptr && removed != nullptr && path.find(removed) != std::string::npos &&
        syscall(SYS_access, trigger, F_OK) == 0)
        (void)kill(getpid(), SIGKILL);
}

bool failsAsAsked(const std::string& path)
{
    static const char* const trigger = std::getenv("CRASH_FAIL_FILE");
    static const char* const name = std::getenv("CRASH_FAIL_NAME");
    return trigger != nullptr && name != nullptr && path.find(name) != std::string::npos &&
           syscall(SYS_access, trigger, F_OK) == 0;
}

} // namespace WriteBack

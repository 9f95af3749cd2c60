#include "slowdisk.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <mutex>
#include <system_error>
#include <utility>

namespace {

std::mutex syncMutex;
std::string slowDirectory; // guarded by syncMutex, as are the next
std::function<void()> beforeSyncing;
std::string syncedPath;

void set(const std::string& directory, std::function<void()> call)
{
    const std::lock_guard lock(syncMutex);
    slowDirectory = directory;
    beforeSyncing = std::move(call);
}

} // namespace

/** Replaces the system's function, which it calls, to simulate a slow disk. */
extern "C" int fsync(int descriptor)
{
    std::error_code error;
    const std::string path =
        std::filesystem::read_symlink("/proc/self/fd/" + std::to_string(descriptor), error).string();
    std::function<void()> call;
    {
        const std::lock_guard lock(syncMutex);
        if (!slowDirectory.empty() && path.starts_with(slowDirectory)) {
            syncedPath = path;
            call = beforeSyncing;
        }
    }
    if (call)
        call();
    return static_cast<int>(syscall(SYS_fsync, descriptor));
}

SlowDisk::SlowDisk(const std::string& directory, std::function<void()> call)
{
    set(directory, std::move(call));
}

SlowDisk::~SlowDisk()
{
    set({}, nullptr);
}

std::string SlowDisk::lastSynced()
{
    const std::lock_guard lock(syncMutex);
    return syncedPath;
}

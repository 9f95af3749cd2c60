#include "storage/lognaming.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <condition_variable>
#include <mutex>
#include <vector>

#include <sys/stat.h>

namespace {

struct Pending {
    std::atomic<int> count = 0; // of devices; raised before and lowered after a name is pending
    std::mutex mutex;
    std::condition_variable over;
    std::vector<dev_t> devices; // guarded by the mutex
};

Pending& pending()
{
    static Pending all;
    return all;
}

} // namespace

LogNaming::LogNaming(dev_t device) : device_(device)
{
    Pending& all = pending();
    const std::lock_guard lock(all.mutex);
    all.devices.push_back(device_);
    ++all.count;
}

LogNaming::~LogNaming()
{
    Pending& all = pending();
    const std::lock_guard lock(all.mutex);
    all.devices.erase(std::find(all.devices.begin(), all.devices.end(), device_));
    --all.count;
    all.over.notify_all();
}

void LogNaming::awaitNames(int descriptor) noexcept
{
    Pending& all = pending();
    if (all.count == 0)
        return;
    const int error = errno;
    struct stat status {};
    if (::fstat(descriptor, &status) == 0) {
        std::unique_lock lock(all.mutex);
        all.over.wait(lock, [&] {
            return std::find(all.devices.begin(), all.devices.end(), status.st_dev) == all.devices.end();
        });
    }
    errno = error;
}

#include "storage/enginecalls.h"

#include "base/descriptor.h"
#include "base/filesync.h"
#include "base/wakeuppreemption.h"
#include "metrics/waits.h"
#include "storage/lognaming.h"
#include "storage/syncfailures.h"

#include <db_cxx.h>

#include <atomic>
#include <cerrno>
#include <filesystem>
#include <new>

#include <fcntl.h>
#include <unistd.h>

namespace {

std::atomic<bool> replaced = false;

/** While it exists, the thread waits for the disk. */
class DiskWait {
public:
    DiskWait() { Base::WakeupPreemption::regain(); }

private:
    const Metrics::DiskWait measured_;
};

ssize_t timedRead(int descriptor, void* bytes, size_t size, off_t offset)
{
    const DiskWait wait;
    return ::pread(descriptor, bytes, size, offset);
}

ssize_t timedWrite(int descriptor, const void* bytes, size_t size, off_t offset)
{
    const DiskWait wait;
    return ::pwrite(descriptor, bytes, size, offset);
}

/** As Berkeley DB does it itself. It expects an errno value of this function and the next, unlike of the others. */
int timedSynchronise(int descriptor)
{
    const DiskWait wait;
    if (const int rc = SyncFailures::earlier(descriptor))
        return rc;
    const int rc = ::fdatasync(descriptor) == 0 ? 0 : errno;
    if (rc != 0)
        SyncFailures::note(descriptor, rc);
    LogNaming::awaitNames(descriptor);
    return rc;
}

/** Syncs the names in the directory of this path. */
void syncNames(const char* path) noexcept
{
    try {
        const std::filesystem::path parent = std::filesystem::path(path).parent_path();
        const Base::Descriptor directory(::open(parent.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        if (!directory.isOpen())
            return; // most likely for want of descriptors
        const int rc = Base::syncToDisk(directory.number());
        if (rc != 0 && rc != EINVAL) // a file system that cannot sync directories
            SyncFailures::note(directory.number(), rc);
    } catch (const std::bad_alloc&) {
        return; // as without descriptors
    }
}

/**
 * Makes the removal of a file durable at once. Recovery removes the files whose creation did not commit, and then
 * writes a checkpoint, behind which no later recovery looks: after a power failure that brought such a file back, its
 * table could not be opened any more.
 */
int removeDurably(const char* path)
{
    const DiskWait wait;
    if (::unlink(path) != 0)
        return errno; // often there is none
    syncNames(path);
    return 0; // the file is gone in any case
}

} // namespace

void EngineCalls::replace()
{
    // Not those without an offset: with them, Berkeley DB would seek before it reads or writes. These cannot fail.
    (void)db_env_set_func_pread(timedRead);
    (void)db_env_set_func_pwrite(timedWrite);
    (void)db_env_set_func_fsync(timedSynchronise);
    (void)db_env_set_func_unlink(removeDurably);
    replaced = true;
}

bool EngineCalls::areReplaced()
{
    return replaced;
}

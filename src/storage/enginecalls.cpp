#include "storage/enginecalls.h"

#include "metrics/waits.h"
#include "storage/lognaming.h"

#include <db_cxx.h>

#include <atomic>

#include <unistd.h>

namespace {

std::atomic<bool> replaced = false;

ssize_t timedRead(int descriptor, void* bytes, size_t size, off_t offset)
{
    const Metrics::DiskWait wait;
    return ::pread(descriptor, bytes, size, offset);
}

ssize_t timedWrite(int descriptor, const void* bytes, size_t size, off_t offset)
{
    const Metrics::DiskWait wait;
    return ::pwrite(descriptor, bytes, size, offset);
}

/** As Berkeley DB does it itself. */
int timedSynchronise(int descriptor)
{
    const Metrics::DiskWait wait;
    const int rc = ::fdatasync(descriptor);
    LogNaming::awaitNames(descriptor);
    return rc;
}

} // namespace

void EngineCalls::replace()
{
    // Not those without an offset: with them, Berkeley DB would seek before it reads or writes. These cannot fail.
    (void)db_env_set_func_pread(timedRead);
    (void)db_env_set_func_pwrite(timedWrite);
    (void)db_env_set_func_fsync(timedSynchronise);
    replaced = true;
}

bool EngineCalls::areReplaced()
{
    return replaced;
}

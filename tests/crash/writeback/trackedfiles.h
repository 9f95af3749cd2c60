#ifndef QUORVA_TESTS_CRASH_WRITEBACK_TRACKEDFILES_H
#define QUORVA_TESTS_CRASH_WRITEBACK_TRACKEDFILES_H

#include "writeback/durablenames.h"
#include "writeback/faults.h"
#include "writeback/images.h"
#include "writeback/rawcalls.h"
#include "writeback/tracker.h"

#include <cerrno>
#include <cstddef>
#include <mutex>

#include <sys/types.h>

/** The replaced system calls for tracked files; for others, they do what the system does. */
namespace WriteBack {

int openTracked(const char* path, int flags, mode_t mode);

int truncateTracked(File* file, int descriptor, off_t size);

/** Where the next write() of a descriptor goes. */
off_t writePosition(int descriptor);

/** Runs `write`, which writes up to `size` bytes at `offset`, or at the descriptor's position for -1. */
template <typename Write> ssize_t trackedWrite(int descriptor, off_t offset, std::size_t size, Write write)
{
    const Descriptor target = lookup(descriptor);
    if (!target.file)
        return write();
    const bool synchronous = target.synchronous && !tracker().ignoreSync;
    if (synchronous)
        waitForDisk(descriptor);
    ssize_t written = 0;
    {
        const std::lock_guard lock(target.file->mutex);
        const off_t position = offset < 0 ? writePosition(descriptor) : offset;
        if (synchronous && failsAsAsked(pathOf(descriptor))) {
            written = write();
            if (written > 0) {
                markDirty(target.file.get(), position, position + written);
                loseDirty(target.file.get());
            }
            errno = EIO;
            return -1;
        }
        if (synchronous) {
            SynchronousWrite noted(*target.file, descriptor, position, size);
            written = noted.finish(write());
        } else {
            written = write();
            if (written > 0)
                markDirty(target.file.get(), position, position + written);
        }
    }
    if (synchronous && written > 0)
        fileSynchronised(target.file.get(), descriptor);
    return written;
}

/** `systemCall` is the number of fsync or fdatasync, for files that are not tracked. */
int trackedSync(int descriptor, long systemCall);

/** Keeps a directory's inode number from being used again: an empty directory is moved into the state, not removed. */
int removeDirectory(int base, const char* name);

/** Removes a file, and then kills the process if that is requested. */
int removeFile(int base, const char* name);

} // namespace WriteBack

#endif

#ifndef QUORVA_BASE_DIRECTORYLOCK_H
#define QUORVA_BASE_DIRECTORYLOCK_H

#include "base/descriptor.h"

#include <filesystem>

#include <sys/file.h>
#include <sys/stat.h>

namespace Base {

/**
 * An `flock` on a directory that excludes other processes: a server holds the lock of each environment that it has
 * open. It needs no lock file, is released with the object or the process, and applies to the directory itself,
 * whatever path leads to it later.
 */
class DirectoryLock {
public:
    enum Kind : int { Shared = LOCK_SH, Exclusive = LOCK_EX };

    /**
     * Takes the lock if it is free; does not wait. Returns 0, EWOULDBLOCK when it is held elsewhere, or another errno
     * value, including on file systems without such locks. Call once.
     */
    [[nodiscard]] int lock(const std::filesystem::path& directory, Kind kind = Exclusive);

    /** Whether `path` leads to the locked directory. */
    bool isAt(const std::filesystem::path& path) const;

    /** Whether `status` is that of the locked directory. */
    bool is(const struct stat& status) const;

    /** Whether the locked directory, wherever it is now, has no entry with that name, not even a dangling link. */
    bool lacks(const char* name) const;

private:
    Descriptor descriptor_; // holds the lock
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

} // namespace Base

#endif

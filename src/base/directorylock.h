#ifndef QUORVA_BASE_DIRECTORYLOCK_H
#define QUORVA_BASE_DIRECTORYLOCK_H

#include "base/descriptor.h"

#include <filesystem>

#include <sys/file.h>
#include <sys/stat.h>

namespace Base {

/**
 * The `flock` on a directory by which those who work in it keep out of each other's way: a server holds that of each
 * environment that it has open. No file is made for it, it ends with the object or the process, and it is the directory
 * itself that is held, under whatever path it can be reached later.
 */
class DirectoryLock {
public:
    enum Kind : int { Shared = LOCK_SH, Exclusive = LOCK_EX };

    /**
     * Takes the lock if it is free; does not wait. 0; EWOULDBLOCK when somebody else holds it; another errno value,
     * also on file systems that have no such locks. Called once.
     */
    [[nodiscard]] int lock(const std::filesystem::path& directory, Kind kind = Exclusive);

    /** Whether `path` leads to the directory that is held. */
    bool isAt(const std::filesystem::path& path) const;

    /** Whether `status` is that of the directory that is held. */
    bool is(const struct stat& status) const;

private:
    Descriptor descriptor_; // carries the lock
    dev_t device_ = 0;
    ino_t inode_ = 0;
};

} // namespace Base

#endif

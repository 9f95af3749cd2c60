#ifndef QUORVA_BASE_DIRECTORYLOCK_H
#define QUORVA_BASE_DIRECTORYLOCK_H

#include "base/descriptor.h"

#include <cerrno>
#include <filesystem>

#include <fcntl.h>
#include <sys/file.h>

namespace Base {

/**
 * The lock on a directory by which those who work in it keep out of each other's way: a server holds that of each
 * environment that it has open. No file is made for it, and it ends with the object or the process.
 */
class DirectoryLock {
public:
    enum Kind : int { Shared = LOCK_SH, Exclusive = LOCK_EX };

    DirectoryLock() = default;
    /** Takes the lock if it is free; does not wait. */
    DirectoryLock(const std::filesystem::path& directory, Kind kind)
        : descriptor_(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC))
    {
        // Only a lock that somebody holds matters: there are file systems without such locks.
        isBusy_ = descriptor_.isOpen() && ::flock(descriptor_.number(), kind | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    }

    /** True when somebody else holds it. False also for what is no directory. */
    bool isBusy() const { return isBusy_; }

private:
    Descriptor descriptor_; // carries the lock
    bool isBusy_ = false;
};

} // namespace Base

#endif

#include "base/directorylock.h"

#include <cerrno>

#include <fcntl.h>

namespace Base {

int DirectoryLock::lock(const std::filesystem::path& directory, Kind kind)
{
    descriptor_ = Descriptor(::open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    struct stat status {};
    if (!descriptor_.isOpen() || ::fstat(descriptor_.number(), &status) != 0)
        return errno;
    device_ = status.st_dev;
    inode_ = status.st_ino;
    return ::flock(descriptor_.number(), kind | LOCK_NB) == 0 ? 0 : errno;
}

bool DirectoryLock::isAt(const std::filesystem::path& path) const
{
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && is(status);
}

bool DirectoryLock::is(const struct stat& status) const
{
    return descriptor_.isOpen() && status.st_dev == device_ && status.st_ino == inode_;
}

bool DirectoryLock::lacks(const char* name) const
{
    struct stat status {};
    return ::fstatat(descriptor_.number(), name, &status, AT_SYMLINK_NOFOLLOW) != 0 && errno == ENOENT;
}

} // namespace Base

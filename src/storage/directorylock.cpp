#include "storage/directorylock.h"

#include <cerrno>
#include <utility>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

DirectoryLock::DirectoryLock(DirectoryLock&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), device_(other.device_), inode_(other.inode_)
{}

DirectoryLock& DirectoryLock::operator=(DirectoryLock&& other) noexcept
{
    std::swap(descriptor_, other.descriptor_);
    device_ = other.device_;
    inode_ = other.inode_;
    return *this;
}

DirectoryLock::~DirectoryLock()
{
    if (descriptor_ >= 0)
        ::close(descriptor_);
}

int DirectoryLock::lock(const QByteArray& path)
{
    descriptor_ = ::open(path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    struct stat status {};
    if (descriptor_ < 0 || ::fstat(descriptor_, &status) != 0)
        return errno;
    device_ = status.st_dev;
    inode_ = status.st_ino;
    return ::flock(descriptor_, LOCK_EX | LOCK_NB) == 0 ? 0 : errno;
}

bool DirectoryLock::isAt(const QByteArray& path) const
{
    struct stat status {};
    return ::stat(path.constData(), &status) == 0 && is(status);
}

bool DirectoryLock::is(const struct stat& status) const
{
    return descriptor_ >= 0 && status.st_dev == device_ && status.st_ino == inode_;
}

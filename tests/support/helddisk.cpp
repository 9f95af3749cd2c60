/*
 * Replaces the calls that write Berkeley DB's log to disk, in a program that preloads or contains it. A test makes the
 * disk stall or fill up through files in the directory that QUORVA_HELD_DISK names, see helddisk.h.
 *
 * System calls are made directly, so that nothing here depends on the order in which libraries are loaded.
 */
#include <cerrno>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

/** The path of a control file; empty without a directory of them. */
std::string control(const char* name)
{
    const char* const directory = std::getenv("QUORVA_HELD_DISK");
    return directory == nullptr ? std::string() : std::string(directory) + '/' + name;
}

bool exists(const std::string& path)
{
    return !path.empty() && syscall(SYS_access, path.c_str(), F_OK) == 0;
}

void touch(const std::string& path)
{
    const long descriptor = syscall(SYS_openat, AT_FDCWD, path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
    (void)syscall(SYS_close, descriptor);
}

/** The content of a short control file. */
std::string contentOf(const std::string& path)
{
    char bytes[4096];
    const long descriptor = syscall(SYS_openat, AT_FDCWD, path.c_str(), O_RDONLY | O_CLOEXEC);
    const ssize_t length = syscall(SYS_read, descriptor, bytes, sizeof bytes);
    (void)syscall(SYS_close, descriptor);
    return {bytes, length > 0 ? static_cast<std::size_t>(length) : 0};
}

/** True for a log file in the directory that the control file names. */
bool isLogFor(int descriptor, const std::string& controlFile)
{
    const std::string self = "/proc/self/fd/" + std::to_string(descriptor);
    char path[4096];
    const ssize_t length = syscall(SYS_readlink, self.c_str(), path, sizeof path);
    const std::string name(path, length > 0 ? static_cast<std::size_t>(length) : 0);
    return name.starts_with(contentOf(controlFile) + "/log.");
}

/** Waits while the control file exists, if it is about this log file. */
void waitWhile(const char* name, int descriptor)
{
    const std::string hold = control(name);
    if (!exists(hold) || !isLogFor(descriptor, hold))
        return;
    const std::string held = control("held");
    touch(held);
    while (exists(hold))
        usleep(500);
    (void)syscall(SYS_unlink, held.c_str());
}

int synchronise(int descriptor, long call)
{
    waitWhile("hold", descriptor);
    return static_cast<int>(syscall(call, descriptor));
}

bool isFullFor(int descriptor)
{
    const std::string full = control("full");
    return exists(full) && isLogFor(descriptor, full);
}

ssize_t noRoom()
{
    errno = ENOSPC;
    return -1;
}

} // namespace

extern "C" {

int fsync(int descriptor)
{
    return synchronise(descriptor, SYS_fsync);
}

int fdatasync(int descriptor)
{
    return synchronise(descriptor, SYS_fdatasync);
}

ssize_t write(int descriptor, const void* bytes, size_t size)
{
    return isFullFor(descriptor) ? noRoom() : syscall(SYS_write, descriptor, bytes, size);
}

ssize_t pwrite(int descriptor, const void* bytes, size_t size, off_t offset)
{
    waitWhile("hold-writes", descriptor);
    return isFullFor(descriptor) ? noRoom() : syscall(SYS_pwrite64, descriptor, bytes, size, offset);
}

ssize_t pwrite64(int descriptor, const void* bytes, size_t size, off_t offset) __attribute__((alias("pwrite")));

} // extern "C"

#include "writeback/rawcalls.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <dirent.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace WriteBack {

[[noreturn]] void stop(const std::string& what)
{
    const std::string line = what + ": " + std::strerror(errno) + '\n';
    (void)!syscall(SYS_write, STDERR_FILENO, line.data(), line.size());
    std::abort();
}

int rawClose(int descriptor)
{
    return static_cast<int>(syscall(SYS_close, descriptor));
}

int rawTruncate(int descriptor, off_t size)
{
    return static_cast<int>(syscall(SYS_ftruncate, descriptor, size));
}

int rawOpen(const char* path, int flags, mode_t mode)
{
    return static_cast<int>(syscall(SYS_openat, AT_FDCWD, path, flags, mode));
}

off_t sizeOf(int descriptor)
{
    struct stat status {};
    if (syscall(SYS_fstat, descriptor, &status) != 0)
        stop("fstat");
    return status.st_size;
}

void copyRange(int from, int to, off_t begin, off_t end)
{
    char block[BlockSize];
    while (begin < end) {
        const auto wanted = static_cast<std::size_t>(std::min(end - begin, BlockSize));
        const ssize_t got = syscall(SYS_pread64, from, block, wanted, begin);
        if (got < 0)
            stop("read of a tracked file");
        if (got == 0)
            return;
        if (syscall(SYS_pwrite64, to, block, static_cast<std::size_t>(got), begin) != got)
            stop("write of an image");
        begin += got;
    }
}

bool statusOf(const std::string& path, struct stat* status)
{
    return syscall(SYS_newfstatat, AT_FDCWD, path.c_str(), status, AT_SYMLINK_NOFOLLOW) == 0;
}

std::string pathOf(int descriptor)
{
    const std::string self = "/proc/self/fd/" + std::to_string(descriptor);
    char path[4096];
    const ssize_t length = syscall(SYS_readlink, self.c_str(), path, sizeof path);
    return length > 0 ? std::string(path, static_cast<std::size_t>(length)) : std::string();
}

std::string absolute(int directory, const char* path)
{
    if (path == nullptr || *path == '/')
        return path == nullptr ? std::string() : path;
    if (directory != AT_FDCWD)
        return pathOf(directory) + '/' + path;
    char current[4096];
    const ssize_t length = syscall(SYS_readlink, "/proc/self/cwd", current, sizeof current);
    return length > 0 ? std::string(current, static_cast<std::size_t>(length)) + '/' + path : std::string(path);
}

std::string parentOf(const std::string& path)
{
    return path.substr(0, path.rfind('/'));
}

std::string nameOf(const std::string& path)
{
    return path.substr(path.rfind('/') + 1);
}

std::vector<std::string> namesIn(const std::string& directory)
{
    std::vector<std::string> names;
    DIR* const list = opendir(directory.c_str());
    if (list == nullptr)
        return names;
    while (const dirent* entry = readdir(list)) {
        if (std::strcmp(entry->d_name, ".") != 0 && std::strcmp(entry->d_name, "..") != 0)
            names.emplace_back(entry->d_name);
    }
    closedir(list);
    return names;
}

void waitForDisk(int descriptor)
{
    static const char* const slow = std::getenv("CRASH_SLOW_LOG");
    if (slow != nullptr && nameOf(pathOf(descriptor)).starts_with("log."))
        usleep(static_cast<useconds_t>(std::atoi(slow)));
}

} // namespace WriteBack

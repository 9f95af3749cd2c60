#include "storage/filesync.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

int syncToDisk(const std::filesystem::path& path)
{
    const int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return errno;
    const int rc = ::fsync(descriptor) == 0 ? 0 : errno;
    ::close(descriptor);
    return rc;
}

int writeToDisk(const std::filesystem::path& path, std::string_view bytes)
{
    const int descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (descriptor < 0)
        return errno;
    int rc = 0;
    while (rc == 0 && !bytes.empty()) {
        const ssize_t written = ::write(descriptor, bytes.data(), bytes.size());
        if (written < 0)
            rc = errno;
        else
            bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    if (rc == 0 && ::fsync(descriptor) != 0)
        rc = errno;
    ::close(descriptor);
    return rc;
}

#include "storage/filesync.h"

#include <cerrno>

#include <fcntl.h>
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

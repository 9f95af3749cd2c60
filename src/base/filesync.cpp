#include "base/filesync.h"

#include "base/descriptor.h"
#include "base/fileio.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace Base {

int syncToDisk(const fs::path& path)
{
    const Descriptor descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    return descriptor.isOpen() ? syncToDisk(descriptor.number()) : errno;
}

int syncToDisk(int descriptor)
{
    return ::fsync(descriptor) == 0 ? 0 : errno;
}

int syncTreeToDisk(const fs::path& directory)
{
    std::error_code error;
    for (fs::recursive_directory_iterator entry(directory, error);
         !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
        if (const int failure = syncToDisk(entry->path()))
            return failure;
    }
    return error ? error.value() : syncToDisk(directory);
}

int writeToDisk(const fs::path& path, std::string_view bytes)
{
    const Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file.isOpen())
        return errno;
    if (const int error = writeAll(file.number(), bytes))
        return error;
    return syncToDisk(file.number());
}

} // namespace Base

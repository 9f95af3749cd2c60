#include "base/filesync.h"

#include "base/descriptor.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace fs = std::filesystem;

int syncToDisk(const fs::path& path)
{
    const Base::Descriptor descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    if (!descriptor.isOpen())
        return errno;
    return ::fsync(descriptor.number()) == 0 ? 0 : errno;
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

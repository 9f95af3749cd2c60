#include "base/filesync.h"

#include "base/descriptor.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
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

int writeToDisk(const fs::path& path, std::string_view bytes)
{
    const Base::Descriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR));
    if (!file.isOpen())
        return errno;
    while (!bytes.empty()) {
        const ssize_t written = ::write(file.number(), bytes.data(), bytes.size());
        if (written < 0)
            return errno;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return ::fsync(file.number()) == 0 ? 0 : errno;
}

#ifndef QUORVA_BASE_PATHS_H
#define QUORVA_BASE_PATHS_H

#include <algorithm>
#include <cstdint>
#include <filesystem>

#include <sys/stat.h>

namespace Base {

/** True for `directory` and everything below it. Compares the paths lexically: both must be canonical. */
inline bool isWithin(const std::filesystem::path& path, const std::filesystem::path& directory)
{
    return std::mismatch(directory.begin(), directory.end(), path.begin(), path.end()).first == directory.end();
}

/** The size of a regular file, following links; -1 for anything else. */
inline std::int64_t sizeOfFile(const std::filesystem::path& path)
{
    struct stat status {};
    return ::stat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode) ? std::int64_t{status.st_size} : -1;
}

} // namespace Base

#endif

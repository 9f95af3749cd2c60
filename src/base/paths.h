#ifndef QUORVA_BASE_PATHS_H
#define QUORVA_BASE_PATHS_H

#include <algorithm>
#include <filesystem>

namespace Base {

/** True for `directory` and all below it. Compares the paths as they are written: both have to be canonical. */
inline bool isWithin(const std::filesystem::path& path, const std::filesystem::path& directory)
{
    return std::mismatch(directory.begin(), directory.end(), path.begin(), path.end()).first == directory.end();
}

} // namespace Base

#endif

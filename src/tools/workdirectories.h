#ifndef QUORVA_TOOLS_WORKDIRECTORIES_H
#define QUORVA_TOOLS_WORKDIRECTORIES_H

#include "base/directorylock.h"

#include <filesystem>
#include <vector>

/**
 * Temporary directories in which a command works: their names end with six characters of mkdtemp, and the command holds
 * their lock. One that is not locked was left behind by a command that was killed.
 */
namespace WorkDirectories {

/**
 * Creates a directory whose name begins like this, and locks it; on file systems without locks it is not locked.
 * Returns 0 or an errno value.
 */
[[nodiscard]] int make(const std::filesystem::path& beginning, std::filesystem::path* made, Base::DirectoryLock* lock);

/** Those whose names begin like this, locked or not, sorted by name. */
std::vector<std::filesystem::path> find(const std::filesystem::path& beginning);

} // namespace WorkDirectories

#endif

#ifndef QUORVA_TOOLS_WORKDIRECTORIES_H
#define QUORVA_TOOLS_WORKDIRECTORIES_H

#include "base/directorylock.h"

#include <filesystem>
#include <vector>

/**
 * Directories in which a command works for a while: their names end with six characters of mkdtemp, and the command
 * holds their lock. One that nobody has locked was left by a command that was killed.
 */
namespace WorkDirectories {

/**
 * Makes a directory with a name of this beginning, and locks it; on file systems without locks it is not locked.
 * Returns 0 or an errno value.
 */
[[nodiscard]] int make(const std::filesystem::path& beginning, std::filesystem::path* made, Base::DirectoryLock* lock);

/** Those that have this beginning, locked or not, in the order of their names. */
std::vector<std::filesystem::path> find(const std::filesystem::path& beginning);

} // namespace WorkDirectories

#endif

#ifndef QUORVA_TOOLS_BACKUPFILES_H
#define QUORVA_TOOLS_BACKUPFILES_H

#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <vector>

namespace Ctl {

/**
 * What a backup directory holds: the files of the full copy and the log files that were shipped to its "__log__"
 * directory afterwards.
 */
struct BackupFiles {
    std::vector<std::filesystem::path> databases;
    std::map<std::uint32_t, std::filesystem::path> logs; // by number; the best copy of each

    std::uintmax_t bytes() const;
};

/** Reads a backup directory without changing it. False, with `error` set, when it cannot be restored. */
[[nodiscard]] bool readBackup(const std::filesystem::path& directory, BackupFiles* files, std::string* error);

} // namespace Ctl

#endif

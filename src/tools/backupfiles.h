#ifndef QUORVA_TOOLS_BACKUPFILES_H
#define QUORVA_TOOLS_BACKUPFILES_H

#include "format/backuplist.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>

namespace Ctl {

/** A file of a backup. */
struct BackupFile {
    std::filesystem::path path;
    /** Of the file, or of its beginning when it is a log file that was shipped: the copy had no more of it. */
    std::optional<BackupList::File> listed; // nothing when no list names it
};

/**
 * What a backup directory holds: the files of the full copy and the log files that were shipped to its "__log__"
 * directory afterwards.
 */
struct BackupFiles {
    std::map<std::string, BackupFile> databases; // by name, which may have directories in it
    std::map<std::uint32_t, BackupFile> logs;    // by number; the best copy of each that the copy needs
    std::map<std::string, std::string> leftOut;  // names of files that do not belong to the copy, and why
};

/** What to make of a copy without a list of its files, of which nothing says whether one is missing. */
enum class UnlistedCopy { Refused, Accepted };

/** Whether a copy in the directory was not completed, or is being made; `error` says by which file that is seen. */
[[nodiscard]] bool isUnfinished(const std::filesystem::path& directory, std::string* error);

/**
 * Reads a backup directory without changing it. False, with `error` set, when it cannot be restored: also when it lacks
 * a file of its list, or has one of another size. Checksums are left to whoever reads the files.
 */
[[nodiscard]] bool readBackup(const std::filesystem::path& directory, UnlistedCopy unlisted, BackupFiles* files,
                              std::string* error);

} // namespace Ctl

#endif

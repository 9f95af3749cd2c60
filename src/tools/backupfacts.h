#ifndef QUORVA_TOOLS_BACKUPFACTS_H
#define QUORVA_TOOLS_BACKUPFACTS_H

#include "tools/backupfiles.h"

#include <cstdint>
#include <ctime>
#include <filesystem>
#include <map>
#include <optional>
#include <set>
#include <string>

namespace Ctl {

/** What a backup contains, read without changing it and without Berkeley DB. */
struct BackupFacts {
    std::string problem;              // why it cannot be restored; empty if no reason was found
    std::optional<BackupList> list;   // of the full copy, if it has one
    std::set<std::string> tables;     // of the full copy
    std::optional<std::time_t> since; // the latest commit in the full copy: the earliest time to restore to
    std::optional<std::time_t> until; // the latest commit in the log up to its first gap
    std::uint32_t firstLog = 0;       // 0: it has no log files
    std::uint32_t lastLog = 0;        // the last one before a gap
    std::optional<std::uint32_t> gap; // the first log file that is missing, or truncated and followed by others
    std::uintmax_t bytes = 0;         // of all files in the directory of the copy
};

/** Returns an empty string, or why the directory cannot be read. Does not detect damage inside files. */
[[nodiscard]] std::string readFacts(const BackupParts& backup, BackupFacts* facts);

/** The tables whose files a full copy has. */
[[nodiscard]] std::set<std::string> tablesOf(const BackupList& list);

/** The time of the latest commit in a full copy. Returns an empty string or an error message. */
[[nodiscard]] std::string readCopyEnd(const std::filesystem::path& copy, std::optional<std::time_t>* since);

/** The size of all files in a directory and below, without those that vanish or cannot be read. */
[[nodiscard]] std::uintmax_t bytesIn(const std::filesystem::path& directory);

} // namespace Ctl

#endif

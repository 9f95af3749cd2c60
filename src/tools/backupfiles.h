#ifndef QUORVA_TOOLS_BACKUPFILES_H
#define QUORVA_TOOLS_BACKUPFILES_H

#include "format/backuplist.h"

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace Ctl {

/** Which parts of a backup to use. */
struct BackupParts {
    explicit BackupParts(std::filesystem::path directory) : copy(std::move(directory)) {}

    std::filesystem::path copy; // the directory of a full copy
    /** Directories of later copies of the same environment, whose log files continue the log; the oldest first. */
    std::vector<std::filesystem::path> later;
    /** False: only the full copy, without the log files that were shipped after it. */
    bool withShippedLogs = true;
};

/** A file of a backup. */
struct BackupFile {
    std::filesystem::path path;
    /** Covers the file, or only the beginning of a shipped log file, as far as the copy contained it. */
    std::optional<BackupList::File> listed; // empty when no list names it
};

/**
 * The content of a backup directory: the files of the full copy, and the log files shipped to its "__log__" directory
 * afterwards.
 */
struct BackupFiles {
    std::map<std::string, BackupFile> databases; // by name, which may contain directories
    std::map<std::uint32_t, BackupFile> logs;    // by number; the best copy of each that the copy needs
    std::map<std::string, std::string> leftOut;  // names of files that are not part of the copy, and why
    std::optional<BackupList> list;              // without one, the end of the copy's log is not known
};

/** How to treat a copy without a list of its files: it cannot be checked for missing ones. */
enum class UnlistedCopy { Refused, Accepted };

/**
 * Whether the directory has a copy that was not completed or is still being made; `error` names the file that says so.
 */
[[nodiscard]] bool isUnfinished(const std::filesystem::path& directory, std::string* error);

/**
 * Whether a server has the directory open, or another command is filling it, so that it is not a backup. A copy with a
 * list is not an open environment: had it been opened since, its log file would differ from the one copied. The lock is
 * released immediately, as the server takes it when it ships log files.
 */
[[nodiscard]] bool isOpenEnvironment(const std::filesystem::path& directory);

/**
 * Copies a file of a backup, creating the directories of its new name, and checks it against the list. Returns an empty
 * string or an error message.
 */
[[nodiscard]] std::string copyBackupFile(const BackupFile& file, const std::filesystem::path& backup,
                                         const std::filesystem::path& to);

/**
 * Reads the list of a copy's files. Returns an empty string, or what is wrong with it.
 */
[[nodiscard]] std::string readList(const std::filesystem::path& copy, BackupList* list);

/**
 * Reads a backup directory without changing it. Returns false, with `error` set, when it cannot be restored, including
 * when a file of its list is missing or has another size. Checksums are verified when the files are read.
 */
[[nodiscard]] bool readBackup(const BackupParts& backup, UnlistedCopy unlisted, BackupFiles* files, std::string* error);

} // namespace Ctl

#endif

#ifndef QUORVA_STORAGE_ENVIRONMENTFILES_H
#define QUORVA_STORAGE_ENVIRONMENTFILES_H

#include <filesystem>

/**
 * What the files in a directory say about it as an environment, before Berkeley DB is let near them. Reads the disk and
 * changes nothing; any thread. Results are 0 or an errno value.
 */
namespace EnvironmentFiles {

/** `found`: an environment in `home` would find log files. A log directory that is not there holds none. */
[[nodiscard]] int findLog(const std::filesystem::path& home, bool* found);

/** True for a directory that holds a backup which is being made, or was cut off, by the list of what it was to have. */
bool isUnfinishedCopy(const std::filesystem::path& home);

/** `found`: there are log files in `directory`. */
[[nodiscard]] int findLogIn(const std::filesystem::path& directory, bool* found);

/**
 * `found`: one of the database files below `home` carries a position in a log: it was written in an environment, and
 * not made by Berkeley DB's loader. Directories that are environments of their own, other file systems, and what may
 * not be read are left out. Ends with the first such file.
 */
[[nodiscard]] int findLoggedDatabase(const std::filesystem::path& home, bool* found);

/** `found`: there are database files right in `directory`. */
[[nodiscard]] int findDatabaseIn(const std::filesystem::path& directory, bool* found);

/** Counts the database files in the same places, up to `most`; 0 looks at none. */
[[nodiscard]] int countDatabases(const std::filesystem::path& home, int most, int* count);

/**
 * Whether files can be made in `directory` and the log files in it be written. Tried, as rights alone do not tell: root
 * has them all, on a read-only file system as well. EINVAL: what has the name of a log file is none. Leaves nothing
 * behind.
 */
[[nodiscard]] int checkWritable(const std::filesystem::path& directory);

} // namespace EnvironmentFiles

#endif

#ifndef QUORVA_STORAGE_ENVIRONMENTFILES_H
#define QUORVA_STORAGE_ENVIRONMENTFILES_H

#include <filesystem>
#include <vector>

/**
 * Inspects the files of a directory before Berkeley DB opens it as an environment. Read-only; any thread. Results are 0
 * or an errno value.
 */
namespace EnvironmentFiles {

/** `found`: an environment in `home` would find log files. A missing log directory holds none. */
[[nodiscard]] int findLog(const std::filesystem::path& home, bool* found);

/** True for a directory with a backup in progress or interrupted, by the list of its planned content. */
bool isUnfinishedCopy(const std::filesystem::path& home);

/** `found`: there are log files in `directory`. */
[[nodiscard]] int findLogIn(const std::filesystem::path& directory, bool* found);

/**
 * `found`: one of the database files below `home` carries an LSN: it was written in an environment, and not created by
 * Berkeley DB's loader. Skips directories that are environments of their own, other file systems, and what is not
 * readable. Stops at the first such file.
 */
[[nodiscard]] int findLoggedDatabase(const std::filesystem::path& home, bool* found);

/** `found`: there are database files directly in `directory`. */
[[nodiscard]] int findDatabaseIn(const std::filesystem::path& directory, bool* found);

/** Counts the database files in the same places, up to `most`; 0 looks at none. */
[[nodiscard]] int countDatabases(const std::filesystem::path& home, int most, int* count);

/** Finds the database files in the same places, including those that are being created or removed. */
[[nodiscard]] int findDatabases(const std::filesystem::path& home, std::vector<std::filesystem::path>* paths);

/**
 * Checks that files can be created in `directory` and its log files are writable. By trying, as permissions are not
 * enough: root has them all, even on a read-only file system. EINVAL: something with the name of a log file is not a
 * file. Leaves nothing behind.
 */
[[nodiscard]] int checkWritable(const std::filesystem::path& directory);

} // namespace EnvironmentFiles

#endif

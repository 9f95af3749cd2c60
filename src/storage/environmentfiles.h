#ifndef QUORVA_STORAGE_ENVIRONMENTFILES_H
#define QUORVA_STORAGE_ENVIRONMENTFILES_H

#include <cstddef>
#include <filesystem>

/**
 * What the files in a directory say about it as an environment, before Berkeley DB is let near them. Reads the disk and
 * changes nothing; any thread. Results are 0 or an errno value.
 */
namespace EnvironmentFiles {

/** Where an environment in `home` has its log files: `home`, or what set_lg_dir in its DB_CONFIG says. */
std::filesystem::path logDirectory(const std::filesystem::path& home);

/** `found`: an environment in `home` would find log files. A log directory that is not there holds none. */
[[nodiscard]] int findLog(const std::filesystem::path& home, bool* found);

/** True for a directory that holds a backup which is being made, or was cut off, by the list of what it was to have. */
bool isUnfinishedCopy(const std::filesystem::path& home);

/** The database files that can be opened by a name below one directory. */
struct Databases {
    std::size_t count = 0;
    /** One of them carries a position in a log: it was written in an environment, and not by Berkeley DB's loader. */
    bool logged = false;
};

/**
 * Looks at all files below `home`, save for directories that are environments of their own, other file systems, and
 * what may not be read.
 */
[[nodiscard]] int findDatabases(const std::filesystem::path& home, Databases* databases);

/**
 * Whether files can be made in `directory` and the log files in it be written. Tried, as rights alone do not tell: root
 * has them all, on a read-only file system as well. Leaves nothing behind.
 */
[[nodiscard]] int checkWritable(const std::filesystem::path& directory);

} // namespace EnvironmentFiles

#endif

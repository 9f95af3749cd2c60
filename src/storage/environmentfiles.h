#ifndef QUORVA_STORAGE_ENVIRONMENTFILES_H
#define QUORVA_STORAGE_ENVIRONMENTFILES_H

#include <cstddef>
#include <filesystem>

/**
 * What the files in a directory say about it as an environment, before Berkeley DB is let near them. Reads the disk and
 * changes nothing; any thread. Results are 0 or an errno value.
 */
namespace EnvironmentFiles {

/** `found`: an environment in `home` would find log files. A log directory that is not there holds none. */
[[nodiscard]] int findLog(const std::filesystem::path& home, bool* found);

/** `found`: there are log files in `directory`. */
[[nodiscard]] int findLogIn(const std::filesystem::path& directory, bool* found);

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
 * has them all, on a read-only file system as well. EINVAL: what has the name of a log file is none. Leaves nothing
 * behind.
 */
[[nodiscard]] int checkWritable(const std::filesystem::path& directory);

} // namespace EnvironmentFiles

#endif

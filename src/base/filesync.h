#ifndef QUORVA_BASE_FILESYNC_H
#define QUORVA_BASE_FILESYNC_H

#include <filesystem>

/**
 * Waits until what was written to a file, or the names in a directory, by any process, survive a loss of power. 0 or an
 * errno value.
 */
[[nodiscard]] int syncToDisk(const std::filesystem::path& path);

/** The same for a directory and every file and directory below it. */
[[nodiscard]] int syncTreeToDisk(const std::filesystem::path& directory);

#endif

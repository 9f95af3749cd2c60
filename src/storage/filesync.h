#ifndef QUORVA_STORAGE_FILESYNC_H
#define QUORVA_STORAGE_FILESYNC_H

#include <filesystem>

/** Waits until what was written to a file or directory, by any process, survives a loss of power. 0 or an errno value.
 */
[[nodiscard]] int syncToDisk(const std::filesystem::path& path);

#endif

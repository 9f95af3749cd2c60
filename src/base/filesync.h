#ifndef QUORVA_BASE_FILESYNC_H
#define QUORVA_BASE_FILESYNC_H

#include <filesystem>
#include <string_view>

namespace Base {

/**
 * Waits until what was written to a file, or the names in a directory, by any process, survive a loss of power. 0 or an
 * errno value.
 */
[[nodiscard]] int syncToDisk(const std::filesystem::path& path);

/** The same for a directory and every file and directory below it. */
[[nodiscard]] int syncTreeToDisk(const std::filesystem::path& directory);

/** Makes a file, or replaces what is in it, and waits until its bytes are on disk; not its name. 0 or an errno value.
 */
[[nodiscard]] int writeToDisk(const std::filesystem::path& path, std::string_view bytes);

} // namespace Base

#endif

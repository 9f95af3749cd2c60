#ifndef QUORVA_BASE_FILESYNC_H
#define QUORVA_BASE_FILESYNC_H

#include <filesystem>
#include <string_view>

namespace Base {

/**
 * Syncs the content of a file, or the names in a directory, as written by any process, so that it would survive a power
 * failure. Returns 0 or an errno value.
 */
[[nodiscard]] int syncToDisk(const std::filesystem::path& path);
[[nodiscard]] int syncToDisk(int descriptor);

/** The same for a directory and everything below it. */
[[nodiscard]] int syncTreeToDisk(const std::filesystem::path& directory);

/**
 * Creates a file, or replaces its content, and syncs its bytes, but not its name. Returns 0 or an errno value.
 */
[[nodiscard]] int writeToDisk(const std::filesystem::path& path, std::string_view bytes);

} // namespace Base

#endif

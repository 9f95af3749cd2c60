#ifndef QUORVA_BASE_FILEIO_H
#define QUORVA_BASE_FILEIO_H

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

#include <sys/types.h>

/**
 * Reading and writing that goes on where a system call stopped short. Results are 0 or an errno value, which the
 * streams of the standard library do not report. Any thread.
 */
namespace Base {

/** Appends what comes next from a descriptor to `bytes`, to the end or until `most` bytes were read. */
[[nodiscard]] int readAll(int descriptor, std::size_t most, std::string* bytes);

/** Reads a file from its beginning to its end; `bytes` has what was read before a failure. */
[[nodiscard]] int readFile(const std::filesystem::path& path, std::string* bytes);

/** Fills a buffer from a place in a file. `got` is less than `size` only where the file ends. */
[[nodiscard]] int readAt(int descriptor, off_t offset, void* buffer, std::size_t size, std::size_t* got);

/** Writes all bytes. */
[[nodiscard]] int writeAll(int descriptor, std::string_view bytes);

/** Writes all bytes to a place in a file. */
[[nodiscard]] int writeAllAt(int descriptor, off_t offset, std::string_view bytes);

} // namespace Base

#endif

#ifndef QUORVA_BASE_FILEIO_H
#define QUORVA_BASE_FILEIO_H

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>

#include <sys/types.h>

/**
 * Complete reads and writes, which continue after partial system calls. Functions return 0 or an errno value, which the
 * streams of the standard library do not report. Any thread.
 */
namespace Base {

/** Reads from a descriptor and appends to `bytes`, until the end or until `most` bytes have been read. */
[[nodiscard]] int readAll(int descriptor, std::size_t most, std::string* bytes);

/** Reads a whole file; after a failure, `bytes` has what was read before it. */
[[nodiscard]] int readFile(const std::filesystem::path& path, std::string* bytes);

/** Fills a buffer from an offset in a file. `got` is less than `size` only at the end of the file. */
[[nodiscard]] int readAt(int descriptor, off_t offset, void* buffer, std::size_t size, std::size_t* got);

/** Writes all bytes. */
[[nodiscard]] int writeAll(int descriptor, std::string_view bytes);

/** Writes all bytes at an offset in a file. */
[[nodiscard]] int writeAllAt(int descriptor, off_t offset, std::string_view bytes);

} // namespace Base

#endif

#ifndef QUORVA_TESTS_SUPPORT_FILES_H
#define QUORVA_TESTS_SUPPORT_FILES_H

#include <cstddef>
#include <fstream>
#include <string>

/**
 * The bytes of a file from offset `from` on, or an empty string when it cannot be read. Works for files of unknown size
 * too, such as those in /proc.
 */
inline std::string readFile(const std::string& path, std::size_t from = 0)
{
    std::ifstream file(path, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(from));
    std::string bytes;
    // Not byte by byte: test code is not optimised, so reading a test's log files would take seconds.
    for (std::string piece(65536, '\0'); file;) {
        file.read(piece.data(), static_cast<std::streamsize>(piece.size()));
        bytes.append(piece, 0, static_cast<std::size_t>(file.gcount()));
    }
    return bytes;
}

#endif

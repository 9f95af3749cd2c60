#ifndef QUORVA_TESTS_SUPPORT_FILES_H
#define QUORVA_TESTS_SUPPORT_FILES_H

#include <cstddef>
#include <fstream>
#include <string>

/**
 * The bytes of a file behind the first `from`, or nothing when it cannot be read. Also of files whose size the system
 * does not know, such as those of /proc.
 */
inline std::string readFile(const std::string& path, std::size_t from = 0)
{
    std::ifstream file(path, std::ios::binary);
    file.seekg(static_cast<std::streamoff>(from));
    std::string bytes;
    // Not byte by byte: test code is not optimised, so the log files of a test would take seconds.
    for (std::string piece(65536, '\0'); file;) {
        file.read(piece.data(), static_cast<std::streamsize>(piece.size()));
        bytes.append(piece, 0, static_cast<std::size_t>(file.gcount()));
    }
    return bytes;
}

#endif

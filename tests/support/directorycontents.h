#ifndef QUORVA_TESTS_SUPPORT_DIRECTORYCONTENTS_H
#define QUORVA_TESTS_SUPPORT_DIRECTORYCONTENTS_H

#include "support/files.h"

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <map>
#include <string>
#include <system_error>
#include <vector>

/**
 * The content of every file below a directory, by relative name; an empty string for directories. Empty when
 * `directory` is not a directory.
 */
inline std::map<std::string, std::string> contentsOf(const std::string& directory)
{
    std::map<std::string, std::string> contents;
    std::error_code missing;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(directory, missing))
        contents[entry.path().lexically_relative(directory).string()] =
            entry.is_regular_file() ? readFile(entry.path().string()) : std::string();
    return contents;
}

/** The names of the entries of a directory, sorted. Empty when `directory` is not a directory. */
inline std::vector<std::string> namesIn(const std::string& directory)
{
    std::vector<std::string> names;
    std::error_code missing;
    for (const auto& entry : std::filesystem::directory_iterator(directory, missing))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

/** The sum of the sizes of a directory's files whose names begin with `prefix`. */
inline std::uintmax_t bytesIn(const std::string& directory, const std::string& prefix)
{
    std::uintmax_t bytes = 0;
    for (const std::string& name : namesIn(directory)) {
        if (name.starts_with(prefix))
            bytes += std::filesystem::file_size(directory + '/' + name);
    }
    return bytes;
}

#endif

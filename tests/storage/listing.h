#ifndef QUORVA_TESTS_STORAGE_LISTING_H
#define QUORVA_TESTS_STORAGE_LISTING_H

#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <string>

/** Every file below a directory with what is in it, and every directory: equal as long as nobody touched anything. */
inline std::map<std::string, std::string> contentOf(const std::string& directory)
{
    namespace fs = std::filesystem;
    std::map<std::string, std::string> content;
    for (const fs::directory_entry& entry : fs::recursive_directory_iterator(directory)) {
        std::string& bytes = content[entry.path().lexically_relative(directory).string()];
        if (entry.is_regular_file()) {
            std::ifstream file(entry.path(), std::ios::binary);
            bytes.assign(std::istreambuf_iterator<char>(file), {});
        }
    }
    return content;
}

#endif

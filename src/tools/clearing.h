#ifndef QUORVA_TOOLS_CLEARING_H
#define QUORVA_TOOLS_CLEARING_H

#include "base/directoryentries.h"

#include <filesystem>
#include <string_view>
#include <system_error>
#include <vector>

namespace Ctl {

/** Removes everything in a directory but the entry of that name. */
inline std::error_code removeAllBut(std::string_view name, const std::filesystem::path& directory)
{
    std::vector<std::filesystem::path> paths;
    const int rc = Base::forEachEntry(directory, [&](const std::filesystem::directory_entry& entry) {
        if (entry.path().filename() != name)
            paths.push_back(entry.path());
        return 0;
    });
    std::error_code error(rc, std::generic_category());
    for (const std::filesystem::path& path : paths) {
        if (!error)
            std::filesystem::remove_all(path, error);
    }
    return error;
}

} // namespace Ctl

#endif

#include "tools/newdirectories.h"

#include <algorithm>
#include <system_error>

#include <unistd.h>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

/** The missing ancestors of a directory, and the directory itself if missing; outermost first. */
std::vector<fs::path> missingDirectories(fs::path directory)
{
    std::vector<fs::path> missing;
    std::error_code error;
    while (fs::symlink_status(directory, error).type() == fs::file_type::not_found && directory.has_relative_path()) {
        missing.push_back(directory);
        directory = directory.parent_path();
    }
    std::reverse(missing.begin(), missing.end());
    return missing;
}

} // namespace

std::string NewDirectories::make(const fs::path& directory)
{
    for (const fs::path& path : missingDirectories(directory)) {
        std::error_code error;
        if (fs::create_directory(path, error))
            made_.push_back(path);
        if (error) {
            removeEmpty();
            return "cannot create " + path.string() + ": " + error.message();
        }
    }
    return {};
}

void NewDirectories::removeEmpty()
{
    for (; !made_.empty(); made_.pop_back())
        ::rmdir(made_.back().c_str()); // ignored: it is no longer empty, or an empty directory stays
}

} // namespace Ctl

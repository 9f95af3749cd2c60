#ifndef QUORVA_TOOLS_SCRATCHCOPY_H
#define QUORVA_TOOLS_SCRATCHCOPY_H

#include "base/directorylock.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace Ctl {

/**
 * A copy of files in a separate directory, which the destructor removes. What a killed process left behind is removed
 * by the next one that makes a copy in the same place.
 */
class ScratchCopy {
public:
    ScratchCopy() = default;
    ~ScratchCopy();
    ScratchCopy(const ScratchCopy&) = delete;
    ScratchCopy& operator=(const ScratchCopy&) = delete;

    /**
     * Copies the files with these names, which may contain directories, from `from` to a new directory below `above`;
     * without taking space if the file system supports that. `progress` is called before each. Returns an empty string
     * or an error message; ends early when an Interruption is requested.
     */
    [[nodiscard]] std::string make(const std::filesystem::path& from, const std::vector<std::string>& names,
                                   const std::filesystem::path& above,
                                   const std::function<void(std::size_t done, std::size_t all)>& progress);

    const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
    Base::DirectoryLock lock_;
};

} // namespace Ctl

#endif

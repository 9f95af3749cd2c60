#ifndef QUORVA_TOOLS_SCRATCHCOPY_H
#define QUORVA_TOOLS_SCRATCHCOPY_H

#include "base/directorylock.h"

#include <filesystem>
#include <functional>
#include <string>
#include <vector>

namespace Ctl {

/**
 * A copy of files in a directory of its own, which the destructor removes. What a process left that was killed is
 * removed by the next one that makes a copy at the same place.
 */
class ScratchCopy {
public:
    ScratchCopy() = default;
    ~ScratchCopy();
    ScratchCopy(const ScratchCopy&) = delete;
    ScratchCopy& operator=(const ScratchCopy&) = delete;

    /**
     * Copies the files of these names, which may contain directories, from `from` to a new directory below `above`;
     * where the file system can, without taking space. `progress` is called before each. An empty string or an error
     * message; ends early when an Interruption is requested.
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

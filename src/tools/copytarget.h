#ifndef QUORVA_TOOLS_COPYTARGET_H
#define QUORVA_TOOLS_COPYTARGET_H

#include "tools/newdirectories.h"

#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

#include <sys/types.h>

namespace Ctl {

/**
 * The target directory of a full backup, from the client's side: creates it, puts the marker there, and determines how
 * far the server has got. Functions that return a string return an empty one, or an error message.
 */
class CopyTarget {
public:
    /** `directory` is absolute. */
    explicit CopyTarget(std::filesystem::path directory) : directory_(std::move(directory)) {}

    /** Creates the directory if missing, and the marker, which must not exist yet. Leaves nothing on failure. */
    [[nodiscard]] std::string prepare();

    /** Removes what prepare() created, unless it is not empty. For a target that the server does not write to. */
    void undo();

    /** True when the server has started writing since prepare(): its first file is the list of an unfinished copy. */
    bool hasBegun() const;

    /**
     * True when the directory is still the one that was prepared and has a list of a complete copy, none of an
     * unfinished one, and no marker. Sets `error` when this cannot be determined.
     */
    bool isComplete(std::error_code* error) const;

    std::filesystem::path marker() const;

private:
    /** Identifies a file and its time of modification: inode, seconds and nanoseconds. */
    struct Version {
        ino_t inode;
        std::time_t seconds;
        long nanoseconds;
        bool operator==(const Version&) const = default;
    };

    std::optional<Version> unfinishedList() const;
    /** The inode of the directory; 0 when it does not exist. */
    ino_t inode() const;

    const std::filesystem::path directory_;
    NewDirectories directories_;
    bool madeMarker_ = false;
    ino_t inode_ = 0;               // when it was prepared
    std::optional<Version> before_; // the list of an earlier, interrupted copy
};

} // namespace Ctl

#endif

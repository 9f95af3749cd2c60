#ifndef QUORVA_TOOLS_COPYTARGET_H
#define QUORVA_TOOLS_COPYTARGET_H

#include <ctime>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include <sys/types.h>

namespace Ctl {

/**
 * The directory that a full backup is to be copied to, as whoever asks for the backup sees it: makes it, puts the
 * marker there, and tells how far the server came. Functions that return a string return an empty one or what went
 * wrong.
 */
class CopyTarget {
public:
    /** `directory` is absolute. */
    explicit CopyTarget(std::filesystem::path directory) : directory_(std::move(directory)) {}

    /** Makes the directory where it is missing, and the marker, which must not be there yet. Nothing on failure. */
    [[nodiscard]] std::string prepare();

    /** Removes what prepare() made. For a copy that the server has not begun. */
    void undo();

    /** True when the server has begun to write since prepare(): it does so with the list of an unfinished copy. */
    bool hasBegun() const;

    /**
     * True when the directory is still the one that was prepared and holds a list, none of an unfinished copy, and no
     * marker. Sets `error` when that cannot be seen.
     */
    bool isComplete(std::error_code* error) const;

    std::filesystem::path marker() const;

private:
    /** Which file has a name, and when it was written: inode, seconds and nanoseconds. */
    struct Version {
        ino_t inode;
        std::time_t seconds;
        long nanoseconds;
        bool operator==(const Version&) const = default;
    };

    std::optional<Version> unfinishedList() const;
    /** The inode of the directory; 0 when it is not there. */
    ino_t inode() const;

    const std::filesystem::path directory_;
    std::vector<std::filesystem::path> made_; // directories, the outermost first
    bool madeMarker_ = false;
    ino_t inode_ = 0;               // when it was prepared
    std::optional<Version> before_; // the list of an earlier copy that was cut off
};

} // namespace Ctl

#endif

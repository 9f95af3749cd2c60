#ifndef QUORVA_TOOLS_RESTORETARGET_H
#define QUORVA_TOOLS_RESTORETARGET_H

#include "base/directorylock.h"

#include <filesystem>
#include <string>

namespace Ctl {

/**
 * The environment directory that a restore makes. All that it does can be cut off at any moment, by a signal or a loss
 * of power, without leaving a directory that a server opens and that holds a part of the data.
 *
 * The files are put into a directory of another name beside the target, "TARGET.restoring-" and six characters, which
 * gets the target's name when all is whole. An empty directory that is there already is filled in place, as it may be a
 * mount point, and its owner and mode are somebody's choice.
 *
 * The name alone keeps nobody out: a request may say any directory. So the first file in it is a DB_CONFIG with a line
 * that Berkeley DB does not know, which makes every opening fail, and it is the last one to go. Where it is, no server
 * has ever been; so what an interrupted restore left can be deleted by the next one. The restore's own work opens the
 * directory as the data and log directory of another home (restoredenvironment.h), where no such file is.
 *
 * Functions return an empty string or what went wrong.
 */
class RestoreTarget {
public:
    explicit RestoreTarget(const std::filesystem::path& directory);
    /** Removes what was put there unless it was published. */
    ~RestoreTarget();
    RestoreTarget(const RestoreTarget&) = delete;
    RestoreTarget& operator=(const RestoreTarget&) = delete;

    /**
     * Makes the directory to fill, and holds it, and a target that is there, as a server does. What interrupted
     * restores to the same target left is removed, with a message.
     */
    [[nodiscard]] std::string prepare();

    /** Where the files go. */
    const std::filesystem::path& workDirectory() const { return work_; }

    /** Puts everything on disk and lets servers have it under the target's name. */
    [[nodiscard]] std::string publish();

private:
    [[nodiscard]] std::string prepareInPlace();
    [[nodiscard]] std::string prepareBeside();
    [[nodiscard]] std::string removeLeftovers() const;
    [[nodiscard]] std::string placeGuard();

    const std::filesystem::path given_;  // for messages
    const std::filesystem::path target_; // absolute, links resolved
    std::filesystem::path work_;         // has the target's name in the end; empty: nothing to remove
    bool madeWork_ = false;              // it was not there before
    Base::DirectoryLock lock_;
};

} // namespace Ctl

#endif

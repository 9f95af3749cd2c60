#ifndef QUORVA_TOOLS_RESTORETARGET_H
#define QUORVA_TOOLS_RESTORETARGET_H

#include "base/directorylock.h"

#include <filesystem>
#include <string>
#include <string_view>

namespace Ctl {

/**
 * The environment directory that a restore creates. The restore can be interrupted at any moment, by a signal or a
 * power failure, without leaving a directory with partial data that a server would open.
 *
 * The files go into a directory next to the target, "TARGET.restoring-" and six characters, which is renamed to the
 * target when it is complete. An existing empty directory is filled in place, as it may be a mount point, and its owner
 * and mode were chosen deliberately.
 *
 * The name alone does not keep servers out: a request may name any directory. So the first file in it, the guard, is a
 * DB_CONFIG with a line that Berkeley DB does not know, which makes every open fail, and it is removed last. No server
 * can ever have opened a directory that has it, so the next restore may delete what an interrupted one left behind. The
 * restore itself opens the directory as the data and log directory of another home (restoredenvironment.h), which has
 * no such file.
 *
 * Functions return an empty string or an error message.
 */
class RestoreTarget {
public:
    /** Whether this is the content of the DB_CONFIG of a directory whose restore did not finish. */
    static bool isGuard(std::string_view config);

    explicit RestoreTarget(const std::filesystem::path& directory);
    /** Removes the restored files unless they were published. */
    ~RestoreTarget();
    RestoreTarget(const RestoreTarget&) = delete;
    RestoreTarget& operator=(const RestoreTarget&) = delete;

    /**
     * Creates the directory to fill, and locks it, and an existing target, as a server does. Removes leftovers of
     * interrupted restores to the same target, with a message.
     */
    [[nodiscard]] std::string prepare();

    /** Where the files go. */
    const std::filesystem::path& workDirectory() const { return work_; }

    /** Forces everything to disk and makes it available to servers under the target's name. */
    [[nodiscard]] std::string publish();

private:
    [[nodiscard]] std::string prepareInPlace();
    [[nodiscard]] std::string prepareBeside();
    [[nodiscard]] std::filesystem::path workBeginning() const;
    [[nodiscard]] std::string removeLeftovers() const;
    [[nodiscard]] std::string placeGuard();

    const std::filesystem::path given_;  // for messages
    const std::filesystem::path target_; // absolute, links resolved
    std::filesystem::path work_;         // renamed to the target in the end; empty: nothing to remove
    bool madeWork_ = false;              // it did not exist before
    Base::DirectoryLock lock_;
};

} // namespace Ctl

#endif

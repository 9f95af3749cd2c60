#include "writeback/renames.h"

#include "writeback/rawcalls.h"
#include "writeback/trackedfiles.h"
#include "writeback/tracker.h"

#include <mutex>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace WriteBack {

namespace {

/** A file has got another name, which is not durable yet. For the caller that holds the tracker's mutex. */
void forgetName(ino_t inode)
{
    Tracker& all = tracker();
    if (const auto found = all.files.find(inode); found != all.files.end()) {
        const std::lock_guard fileLock(found->second->mutex);
        found->second->named = false;
    }
}

} // namespace

int renameTracked(const char* from, const char* to)
{
    const std::string before = absolute(AT_FDCWD, from);
    const std::string after = absolute(AT_FDCWD, to);
    if (rootOf(before).empty() && rootOf(after).empty())
        return static_cast<int>(syscall(SYS_rename, from, to));
    if (parentOf(before) != parentOf(after))
        stop("a move between directories is not modelled: " + before + " to " + after);
    Tracker& all = tracker();
    const std::lock_guard lock(all.mutex);
    struct stat status {};
    struct stat replaced {};
    const bool replacesDirectory = statusOf(before, &status) && S_ISDIR(status.st_mode) && statusOf(after, &replaced) &&
                                   S_ISDIR(replaced.st_mode) && replaced.st_ino != status.st_ino &&
                                   namesIn(after).empty();
    int rc = 0;
    if (replacesDirectory) {
        rc = static_cast<int>(syscall(SYS_renameat2, AT_FDCWD, from, AT_FDCWD, to, RENAME_EXCHANGE));
        if (rc == 0)
            rc = removeDirectory(AT_FDCWD, from); // the replaced one
    } else {
        rc = static_cast<int>(syscall(SYS_rename, from, to));
    }
    if (rc != 0)
        return rc;
    forgetName(status.st_ino);
    return 0;
}

int renameTrackedAt(int fromDirectory, const char* from, int toDirectory, const char* to, unsigned flags)
{
    const std::string before = absolute(fromDirectory, from);
    const std::string after = absolute(toDirectory, to);
    if (rootOf(before).empty() && rootOf(after).empty())
        return static_cast<int>(syscall(SYS_renameat2, fromDirectory, from, toDirectory, to, flags));
    if (parentOf(before) != parentOf(after) || flags != RENAME_NOREPLACE)
        stop("this renameat2 is not modelled: " + before + " to " + after);
    struct stat status {};
    const bool isThere = statusOf(before, &status);
    Tracker& all = tracker();
    const std::lock_guard lock(all.mutex);
    const int rc = static_cast<int>(syscall(SYS_renameat2, fromDirectory, from, toDirectory, to, flags));
    if (rc == 0 && isThere)
        forgetName(status.st_ino);
    return rc;
}

} // namespace WriteBack

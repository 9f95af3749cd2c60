#include "tools/restoretarget.h"

#include "base/fileio.h"
#include "base/filesync.h"
#include "format/berkeleydbnames.h"
#include "tools/clearing.h"
#include "tools/messages.h"
#include "tools/resolvedpath.h"
#include "tools/usualmode.h"
#include "tools/workdirectories.h"

#include <cerrno>
#include <cstdio>
#include <iterator>
#include <string_view>
#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

constexpr const char* GuardName = BerkeleyDbNames::ConfigFile;
constexpr std::string_view Guard =
    "# A restore to this directory has not come to its end. This file keeps servers from opening it.\n"
    "# To restore once more, do so to the same target. Otherwise delete the directory.\n"
    "unfinished_quorvactl_restore yes\n";

/**
 * True if a restore there did not finish: the directory has the guard, or nothing but the beginning of one. No server
 * can have opened such a directory.
 */
bool isUnfinished(const fs::path& directory)
{
    std::string text;
    const bool hasGuard = Base::readFile(directory / GuardName, &text) == 0;
    if (!hasGuard || text == Guard)
        return hasGuard;
    std::error_code error;
    const auto entries = std::distance(fs::directory_iterator(directory, error), fs::directory_iterator());
    return !error && entries == 1 && Guard.starts_with(text);
}

/** Removes the content of a directory. The guard is removed last: until then, no server can open what is left. */
std::error_code clear(const fs::path& directory)
{
    std::error_code error = removeAllBut(GuardName, directory);
    if (!error)
        fs::remove(directory / GuardName, error);
    return error;
}

/** Returns 0 or an errno value. */
int renameWithoutReplacing(const fs::path& from, const fs::path& to)
{
    if (::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0)
        return 0;
    if (errno != EINVAL && errno != ENOSYS)
        return errno;
    // For file systems without RENAME_NOREPLACE: rename() replaces only an empty directory.
    return ::rename(from.c_str(), to.c_str()) == 0 ? 0 : errno;
}

} // namespace

bool RestoreTarget::isGuard(std::string_view config)
{
    return config == Guard;
}

RestoreTarget::RestoreTarget(const fs::path& directory) : given_(directory), target_(resolvedPath(directory)) {}

RestoreTarget::~RestoreTarget()
{
    if (work_.empty())
        return;
    std::error_code error = clear(work_);
    if (!error && madeWork_)
        fs::remove(work_, error);
    if (error)
        complain("cannot remove " + work_.string() + ": " + error.message());
}

std::string RestoreTarget::prepare()
{
    if (std::string error = removeLeftovers(); !error.empty())
        return error;
    std::error_code error;
    const fs::file_status status = fs::symlink_status(target_, error);
    if (!fs::exists(status))
        return prepareBeside();
    return fs::is_directory(status) ? prepareInPlace() : withReason("cannot create " + given_.string(), EEXIST);
}

std::string RestoreTarget::prepareInPlace()
{
    if (lock_.lock(target_) == EWOULDBLOCK)
        return given_.string() + " is open in a server, or in use by another restore";
    std::error_code error;
    if (isUnfinished(target_)) {
        if ((error = clear(target_)))
            return "cannot remove the remains of an interrupted restore from " + given_.string() + ": " +
                   error.message();
        complain("removed the remains of an interrupted restore from " + given_.string());
    }
    if (!fs::is_empty(target_, error))
        return error ? "cannot read " + given_.string() + ": " + error.message() : given_.string() + " is not empty";
    work_ = target_;
    return placeGuard();
}

std::string RestoreTarget::prepareBeside()
{
    if (const int error = WorkDirectories::make(workBeginning(), &work_, &lock_))
        return withReason("cannot create " + given_.string(), error);
    madeWork_ = true;
    // A restore to the same target may have begun since the first check: only one of the two could be renamed to it.
    if (std::string error = removeLeftovers(); !error.empty())
        return error;
    if (::chmod(work_.c_str(), usualMode(0777)) != 0)
        return withReason("cannot create " + given_.string(), errno);
    return placeGuard();
}

fs::path RestoreTarget::workBeginning() const
{
    return target_.string() + ".restoring-";
}

/** A directory that another restore is filling is locked, and one without a guard has no data of a restore. */
std::string RestoreTarget::removeLeftovers() const
{
    for (const fs::path& leftover : WorkDirectories::find(workBeginning())) {
        if (leftover == work_)
            continue;
        Base::DirectoryLock lock;
        if (lock.lock(leftover) == EWOULDBLOCK)
            return "another restore to " + given_.string() + " is running, in " + leftover.string();
        std::error_code unreadable;
        if (!isUnfinished(leftover) && !fs::is_empty(leftover, unreadable))
            continue;
        std::error_code error = clear(leftover);
        if (!error)
            fs::remove(leftover, error);
        if (error)
            return "cannot remove " + leftover.string() + ", left by an interrupted restore: " + error.message();
        complain("removed " + leftover.string() + ", left by an interrupted restore");
    }
    return {};
}

/** Forces the guard to disk before any other file is created. */
std::string RestoreTarget::placeGuard()
{
    const fs::path path = work_ / GuardName;
    int error = Base::writeToDisk(path, Guard);
    for (const fs::path& made : {work_, work_.parent_path()}) {
        if (error == 0)
            error = Base::syncToDisk(made);
    }
    return error == 0 ? std::string() : withReason("cannot write " + path.string(), error);
}

std::string RestoreTarget::publish()
{
    const std::string failed = "cannot complete " + given_.string();
    if (const int error = Base::syncTreeToDisk(work_))
        return withReason(failed, error);
    if (work_ != target_) {
        if (const int error = renameWithoutReplacing(work_, target_))
            return withReason("cannot rename " + work_.string() + " to " + given_.string(), error);
        work_ = target_;
        if (const int error = Base::syncToDisk(target_.parent_path()))
            return withReason(failed, error);
    }
    if (::unlink((target_ / GuardName).c_str()) != 0)
        return withReason(failed, errno);
    if (const int error = Base::syncToDisk(target_))
        return withReason(failed, error);
    work_.clear();
    return {};
}

} // namespace Ctl

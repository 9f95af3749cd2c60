#include "tools/copytarget.h"

#include "base/descriptor.h"
#include "format/backupnames.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace Ctl {

std::string CopyTarget::prepare()
{
    if (std::string error = directories_.make(directory_); !error.empty())
        return error;
    before_ = unfinishedList();
    inode_ = inode();
    const Base::Descriptor made(::open(marker().c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666));
    if (!made.isOpen()) {
        const int error = errno;
        undo();
        if (error == EEXIST)
            return "another backup to " + directory_.string() +
                   " is running, or was interrupted: " + marker().string() + " exists";
        return "cannot write " + marker().string() + ": " + std::strerror(error);
    }
    madeMarker_ = true;
    return {};
}

void CopyTarget::undo()
{
    std::error_code error; // ignored: whatever cannot be removed is harmless, or not empty any more
    if (madeMarker_)
        fs::remove(marker(), error);
    directories_.removeEmpty();
    madeMarker_ = false;
}

bool CopyTarget::hasBegun() const
{
    const auto list = unfinishedList();
    return list && list != before_;
}

bool CopyTarget::isComplete(std::error_code* error) const
{
    const auto isThere = [&](const char* name) {
        std::error_code failure;
        const bool found = fs::exists(directory_ / name, failure);
        if (failure)
            *error = failure;
        return found;
    };
    error->clear();
    const bool hasList = isThere(BackupNames::ListFile);
    const bool isUnfinished = isThere(BackupNames::UnfinishedListFile);
    return !isThere(BackupNames::Marker) && hasList && !isUnfinished && !*error && inode() == inode_;
}

fs::path CopyTarget::marker() const
{
    return directory_ / BackupNames::Marker;
}

ino_t CopyTarget::inode() const
{
    struct stat status = {};
    return ::stat(directory_.c_str(), &status) == 0 ? status.st_ino : 0;
}

std::optional<CopyTarget::Version> CopyTarget::unfinishedList() const
{
    struct stat status = {};
    if (::stat((directory_ / BackupNames::UnfinishedListFile).c_str(), &status) != 0)
        return std::nullopt;
    return Version{status.st_ino, status.st_mtim.tv_sec, status.st_mtim.tv_nsec};
}

} // namespace Ctl

#include "storage/backuptarget.h"

#include "base/directoryentries.h"
#include "base/fileio.h"
#include "base/filesync.h"
#include "base/paths.h"
#include "format/backupnames.h"
#include "format/logfiles.h"
#include "log/log.h"
#include "storage/backuporigin.h"
#include "storage/bdbenv.h"
#include "storage/databasefile.h"
#include "storage/logshipping.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <system_error>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

bool isThere(const fs::path& path)
{
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0;
}

} // namespace

BackupTarget::BackupTarget(BDBEnv* env, const QByteArray& path) : env_(env), name_(path), path_(path.toStdString()) {}

/** Checks the name alone: nothing is created where nothing may be written. */
int BackupTarget::checkPath() const
{
    // An empty name would lead to the root of the file system, and a zero byte would truncate the name.
    if (name_.isEmpty() || name_.contains('\0'))
        return ENOENT;
    std::vector<fs::path> ours;
    if (const int rc = DatabaseFiles::findDirectories(env_, &ours))
        return rc;
    const char* home = nullptr;
    if (const int rc = env_->get_home(&home))
        return rc;
    ours.emplace_back(home);
    std::error_code error;
    const fs::path target = fs::weakly_canonical(fs::absolute(path_, error), error);
    for (const fs::path& directory : ours) {
        if (!error && Base::isWithin(target, fs::canonical(directory, error)))
            return EBUSY;
    }
    return 0;
}

int BackupTarget::hold()
{
    const int rc = lock_.lock(path_);
    if (rc == EWOULDBLOCK)
        return EBUSY;
    return rc == ENOLCK || rc == EOPNOTSUPP ? 0 : rc; // not every file system has such locks
}

int BackupTarget::refuse() const
{
    LOG_WARN << "DB Backup target " << name_ << " contains files that are not a backup of this environment";
    return ENOTEMPTY;
}

int BackupTarget::openForCopy(const DatabaseFiles::ByName& databases)
{
    if (const int rc = checkPath())
        return rc;
    if (::mkdir(path_.c_str(), S_IRWXU) != 0) {
        if (errno != EEXIST)
            return errno;
    } else if (const int rc = Base::syncToDisk(path_ / "..")) {
        return rc;
    }
    if (const int rc = hold())
        return rc;
    bool finished = false;
    bool unfinished = false;
    if (const int rc = readLists(&finished, &unfinished))
        return rc == EINVAL ? refuse() : rc;
    if (isInTheWay(databases))
        return refuse();
    if (!ours_)
        return looksLikeEnvironment() ? refuse() : 0;
    bool same = false;
    if (const int rc = BackupOrigin(env_, path_, &earlier_).ofCopy(databases, unfinished, &same))
        return rc;
    return same ? 0 : refuse();
}

int BackupTarget::openForShipping()
{
    if (const int rc = checkPath())
        return rc;
    if (const int rc = hold())
        return rc == ENOENT ? 0 : rc;
    bool finished = false;
    bool unfinished = false;
    if (const int rc = readLists(&finished, &unfinished))
        return rc == EINVAL ? refuse() : rc;
    if (unfinished || (!finished && (!LogFiles::numbersIn(path_).empty() || looksLikeEnvironment())))
        return refuse();
    bool continues = false;
    if (const int rc = BackupOrigin(env_, path_, &earlier_).ofShipping(finished, &continues))
        return rc;
    return continues ? 0 : refuse();
}

/** EINVAL for a malformed list. A malformed list of an unfinished copy counts as none: it names no file. */
int BackupTarget::readLists(bool* finished, bool* unfinished)
{
    const fs::path list = path_ / BackupNames::ListFile;
    const fs::path unfinishedList = path_ / BackupNames::UnfinishedListFile;
    *unfinished = Base::sizeOfFile(unfinishedList) >= 0;
    *finished = !*unfinished && isThere(list);
    if (!*finished && !*unfinished)
        return 0;
    std::string text;
    (void)Base::readFile(*finished ? list : unfinishedList, &text); // ignored: a truncated list is refused
    std::string error;
    ours_ = BackupList::read(text, &earlier_, &error);
    return ours_ || *unfinished ? 0 : EINVAL;
}

/** Only files directly in the directory count: nothing below it is touched. */
bool BackupTarget::looksLikeEnvironment() const
{
    constexpr int Found = -1; // no errno value
    const auto look = [](const fs::directory_entry& entry) {
        std::error_code vanished;
        const bool isOfEnvironment =
            entry.is_regular_file(vanished) &&
            (LogFiles::numberOf(entry.path().filename().string()) || DatabaseFile::isDatabase(entry.path()));
        return isOfEnvironment ? Found : 0;
    };
    return Base::forEachEntry(path_, look) == Found;
}

/** True if the earlier copy has files in a directory of that name. */
bool BackupTarget::hasDirectory(const std::string& name) const
{
    const auto file = earlier_.files.lower_bound(name + '/');
    return file != earlier_.files.end() && file->first.starts_with(name + '/');
}

/**
 * True if the copy would overwrite something that is not part of the earlier copy, or if log files were shipped there
 * without a copy.
 */
bool BackupTarget::isInTheWay(const DatabaseFiles::ByName& databases) const
{
    if (!ours_ && !LogFiles::numbersIn(path_ / BackupNames::LogDirectory).empty())
        return true;
    return std::any_of(databases.begin(), databases.end(), [this](const auto& database) {
        const std::string& name = database.first;
        const std::string first = name.substr(0, name.find('/'));
        if (earlier_.files.contains(name) || earlier_.files.contains(first))
            return false;
        const fs::path obstacle = path_ / (first != name && hasDirectory(first) ? name : first);
        std::error_code error;
        return fs::is_regular_file(obstacle, error) || fs::is_directory(obstacle, error);
    });
}

/** And the directories that are then empty. */
int BackupTarget::removeFiles()
{
    std::error_code error;
    for (const auto& [name, file] : earlier_.files) {
        if (Base::sizeOfFile(path_ / name) >= 0 && !fs::remove(path_ / name, error) && error)
            return error.value();
        for (fs::path parent = fs::path(name).parent_path(); !parent.empty(); parent = parent.parent_path())
            (void)::rmdir((path_ / parent).c_str()); // ignored: other files may be in it
    }
    return LogShipping::removeLogs(name_);
}

/** The target is marked as an unfinished copy before anything is removed. */
int BackupTarget::beginCopy()
{
    if (!ours_)
        return 0;
    std::error_code error;
    if (isThere(path_ / BackupNames::ListFile)) {
        fs::rename(path_ / BackupNames::ListFile, path_ / BackupNames::UnfinishedListFile, error);
        if (error)
            return error.value();
    }
    if (const int rc = Base::syncToDisk(path_))
        return rc;
    return removeFiles();
}

int BackupTarget::noteFiles(const BackupList& list)
{
    const fs::path draft = path_ / BackupNames::ListDraft;
    if (const int rc = Base::writeToDisk(draft, list.write()))
        return rc;
    std::error_code error;
    fs::rename(draft, path_ / BackupNames::UnfinishedListFile, error);
    return error ? error.value() : Base::syncToDisk(path_);
}

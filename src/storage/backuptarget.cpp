#include "storage/backuptarget.h"

#include "base/directoryentries.h"
#include "base/fileio.h"
#include "base/filesync.h"
#include "base/paths.h"
#include "format/backupnames.h"
#include "format/checksum.h"
#include "format/logfiles.h"
#include "log/log.h"
#include "storage/bdbenv.h"
#include "storage/databasefile.h"
#include "storage/logshipping.h"
#include "storage/logtail.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <set>
#include <string>
#include <system_error>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace {

/** -1 for what is no regular file. */
std::int64_t sizeOf(const fs::path& file)
{
    std::error_code error;
    const auto size = fs::is_regular_file(file, error) ? fs::file_size(file, error) : 0;
    return error || !fs::is_regular_file(file, error) ? -1 : static_cast<std::int64_t>(size);
}

bool isThere(const fs::path& path)
{
    struct stat status;
    return ::lstat(path.c_str(), &status) == 0;
}

} // namespace

BackupTarget::BackupTarget(BDBEnv* env, const QByteArray& path) : env_(env), name_(path), path_(path.toStdString()) {}

/** Looks at the name alone: nothing is made where nothing may be written. */
int BackupTarget::checkPath() const
{
    // An empty name would lead to the root of the file system, and a zero byte would cut the name short.
    if (name_.isEmpty() || name_.contains('\0'))
        return ENOENT;
    std::vector<fs::path> ours;
    if (const int rc = findDataDirectories(env_, &ours))
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
    return rc == ENOLCK || rc == EOPNOTSUPP ? 0 : rc; // there are file systems without such locks
}

int BackupTarget::refuse() const
{
    LOG_WARN << "DB Backup target " << name_ << " holds files that are no backup of this environment";
    return ENOTEMPTY;
}

int BackupTarget::openForCopy(const DatabaseFiles& databases)
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
    bool untouched = false;
    if (!unfinished)
        untouched = isAsItWasLeft();
    else if (const int rc = isUnfinishedCopy(&untouched))
        return rc;
    if (untouched) {
        if (const int rc = isOfThisEnvironment(databases, unfinished, &same))
            return rc;
    }
    if (same) {
        if (const int rc = agreesWithShippedLogs(&same))
            return rc;
    }
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
    if (const int rc = finished ? continuesCopy(&continues) : continuesShippedLogs(&continues))
        return rc;
    if (continues) {
        if (const int rc = agreesWithShippedLogs(&continues))
            return rc;
    }
    return continues ? 0 : refuse();
}

/** EINVAL for a list that cannot be understood. That of an unfinished copy is as good as none then: it names no file.
 */
int BackupTarget::readLists(bool* finished, bool* unfinished)
{
    const fs::path list = path_ / BackupNames::ListFile;
    const fs::path unfinishedList = path_ / BackupNames::UnfinishedListFile;
    *unfinished = sizeOf(unfinishedList) >= 0;
    *finished = !*unfinished && isThere(list);
    if (!*finished && !*unfinished)
        return 0;
    std::string text;
    (void)Base::readFile(*finished ? list : unfinishedList, &text); // ignored: a list that is cut off is refused
    std::string error;
    ours_ = BackupList::read(text, &earlier_, &error);
    return ours_ || *unfinished ? 0 : EINVAL;
}

/** Only what stands in the directory itself counts: what is below it is not touched. */
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

/** True when the earlier copy has files in a directory of that name. */
bool BackupTarget::hasDirectory(const std::string& name) const
{
    const auto file = earlier_.files.lower_bound(name + '/');
    return file != earlier_.files.end() && file->first.starts_with(name + '/');
}

/**
 * True when something is there that a copy would write to and that is not of the earlier copy, or when logs were
 * shipped there without one.
 */
bool BackupTarget::isInTheWay(const DatabaseFiles& databases) const
{
    if (!ours_ && !LogFiles::numbersIn(path_ / BackupNames::LogDirectory).empty())
        return true;
    return std::any_of(databases.begin(), databases.end(), [this](const auto& database) {
        const std::string& name = database.first;
        const std::string first = name.substr(0, name.find('/'));
        if (earlier_.files.contains(name) || earlier_.files.contains(first))
            return false;
        const fs::path path = path_ / (first != name && hasDirectory(first) ? name : first);
        std::error_code error;
        return fs::is_regular_file(path, error) || fs::is_directory(path, error);
    });
}

/**
 * Whoever opens an unfinished copy as an environment writes to its log. So its log files have to be those that a
 * finished copy had, which was being removed, or the beginnings of the environment's own.
 */
int BackupTarget::isUnfinishedCopy(bool* untouched) const
{
    for (const std::uint32_t number : LogFiles::numbersIn(path_)) {
        const std::string name = LogFiles::name(number);
        const auto listed = earlier_.files.find(name);
        Checksum checksum;
        if (listed != earlier_.files.end() && sizeOf(path_ / name) == static_cast<std::int64_t>(listed->second.size) &&
            checksum.addFile(path_ / name, 0, listed->second.size) == 0 && checksum.value() == listed->second.checksum)
            continue;
        bool ofOurs = false;
        if (const int rc = isOfLog(env_, number, path_ / name, &ofOurs))
            return rc;
        if (!ofOurs)
            return 0;
    }
    *untouched = true;
    return 0;
}

/** False once somebody has opened the copy as an environment, or put further log files there. */
bool BackupTarget::isAsItWasLeft() const
{
    for (const std::uint32_t number : LogFiles::numbersIn(path_)) {
        if (!earlier_.files.contains(LogFiles::name(number)))
            return false;
    }
    return std::all_of(earlier_.files.begin(), earlier_.files.end(), [this](const auto& file) {
        const std::int64_t size = sizeOf(path_ / file.first);
        return size < 0 || static_cast<std::uint64_t>(size) == file.second.size;
    });
}

/** Of an unfinished copy not all databases need be there; when none is, its home has to do. */
int BackupTarget::isOfThisEnvironment(const DatabaseFiles& databases, bool unfinished, bool* same) const
{
    const char* home = nullptr;
    if (const int rc = env_->get_home(&home))
        return rc;
    LogPosition now;
    std::uint32_t first = 0;
    int rc = flushedLogPosition(env_, &now);
    if (rc == 0)
        rc = firstLogFile(env_, &first);
    if (rc != 0)
        return rc == DB_NOTFOUND ? 0 : rc;
    if (now.file < earlier_.lastLog || (now.file == earlier_.lastLog && now.offset < earlier_.lastLogSize))
        return 0; // an environment that is behind its copy is not the one that was copied
    if (first <= earlier_.lastLog)
        return continuesCopy(same);
    // The log files in between are gone. The databases tell as well, as long as there is one.
    *same = unfinished && earlier_.home == home;
    for (const auto& [name, path] : databases) {
        if (!earlier_.files.contains(name) || (unfinished && DatabaseFile::id(path_ / name).empty()))
            continue;
        const std::string id = DatabaseFile::id(path);
        *same = !id.empty() && id == DatabaseFile::id(path_ / name);
        if (!*same)
            return 0;
    }
    return 0;
}

int BackupTarget::continuesCopy(bool* continues) const
{
    std::uint32_t first = 0;
    if (const int rc = firstLogFile(env_, &first))
        return rc == DB_NOTFOUND ? 0 : rc;
    const auto last = earlier_.files.find(LogFiles::name(earlier_.lastLog));
    if (first <= earlier_.lastLog) {
        if (last == earlier_.files.end())
            return 0;
        fs::path own;
        if (const int rc = logFilePath(env_, earlier_.lastLog, &own))
            return rc;
        Checksum checksum;
        const int rc = checksum.addFile(own, 0, earlier_.lastLogSize);
        *continues = rc == 0 && checksum.value() == last->second.checksum;
        return rc == ENOENT || rc == ENODATA ? 0 : rc;
    }
    const std::set<std::uint32_t> shipped = LogFiles::numbersIn(path_ / BackupNames::LogDirectory);
    for (std::uint32_t number = earlier_.lastLog; number < first; ++number) {
        if (!shipped.contains(number))
            return 0;
    }
    return followsLog(env_, first, path_ / BackupNames::LogDirectory, continues);
}

/** Without a copy: what is there has to lead up to the environment's log files, or to be what is replaced by them. */
int BackupTarget::continuesShippedLogs(bool* continues) const
{
    const fs::path directory = path_ / BackupNames::LogDirectory;
    const std::set<std::uint32_t> shipped = LogFiles::numbersIn(directory);
    std::uint32_t first = 0;
    if (const int rc = firstLogFile(env_, &first)) {
        *continues = rc == DB_NOTFOUND && shipped.empty();
        return rc == DB_NOTFOUND ? 0 : rc;
    }
    if (!shipped.contains(first - 1)) {
        *continues = shipped.empty() || *shipped.begin() >= first;
        return 0;
    }
    return followsLog(env_, first, directory, continues);
}

/**
 * Another environment of the same descent, such as a restored backup, may be behind the log files that were shipped, or
 * have taken another course: they are the only ones with what they say. Without its own log files of these numbers, and
 * of the next one, nothing can be told.
 */
int BackupTarget::agreesWithShippedLogs(bool* agrees) const
{
    const fs::path directory = path_ / BackupNames::LogDirectory;
    const std::set<std::uint32_t> shipped = LogFiles::numbersIn(directory);
    *agrees = shipped.empty();
    if (shipped.empty())
        return 0;
    std::uint32_t first = 0;
    if (const int rc = firstLogFile(env_, &first))
        return rc == DB_NOTFOUND ? 0 : rc;
    const std::uint32_t last = *shipped.rbegin();
    if (last >= first)
        return isOfLog(env_, last, directory / LogFiles::name(last), agrees);
    if (last + 1 == first)
        return followsLog(env_, first, directory, agrees);
    *agrees = true;
    return 0;
}

/** With the directories that are empty then. */
int BackupTarget::removeFiles()
{
    std::error_code error;
    for (const auto& [name, file] : earlier_.files) {
        if (sizeOf(path_ / name) >= 0 && !fs::remove(path_ / name, error) && error)
            return error.value();
        for (fs::path parent = fs::path(name).parent_path(); !parent.empty(); parent = parent.parent_path())
            (void)::rmdir((path_ / parent).c_str()); // ignored: other files may be in it
    }
    return removeLogs(name_);
}

/** It is an unfinished copy from the first step on, whatever happens. */
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

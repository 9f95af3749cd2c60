#include "storage/environmentcopy.h"

#include "base/filesync.h"
#include "format/backupnames.h"
#include "format/logfiles.h"
#include "storage/bdbenv.h"
#include "storage/deadlockretry.h"
#include "storage/logshipping.h"

#include <cerrno>
#include <mutex>
#include <system_error>

#include <sys/stat.h>

namespace fs = std::filesystem;

namespace {

constexpr int MaxRounds = 10;
constexpr std::uint32_t LittleLog = 64 * 1024;

bool isLittle(LogPosition from, LogPosition to)
{
    return from.file == to.file && to.offset - from.offset <= LittleLog;
}

} // namespace

EnvironmentCopy::EnvironmentCopy(BDBEnv* env, const QByteArray& target)
    : env_(env), target_(env, target), log_(env, target_.path())
{}

int EnvironmentCopy::begin()
{
    const char* home = nullptr;
    int rc = env_->get_home(&home);
    if (rc == 0)
        rc = DatabaseFiles::find(env_, &databases_);
    if (rc == 0)
        rc = target_.openForCopy(databases_);
    if (rc == 0)
        rc = LogTail::firstNeededFile(env_, &list_.firstLog);
    if (rc == DB_NOTFOUND) {
        // A new environment whose first checkpoint is still in progress.
        rc = env_->txn_checkpoint(0, 0, DB_FORCE);
        if (rc == 0)
            rc = LogTail::firstNeededFile(env_, &list_.firstLog);
    }
    if (rc == 0)
        rc = target_.beginCopy();
    if (rc != 0)
        return rc;
    list_.home = planned_.home = home;
    rc = planOrigin();
    if (rc == 0)
        rc = planFiles();
    if (rc != 0)
        return rc;
    begun_ = true;
    log_.begin(list_.firstLog);
    return 0;
}

int EnvironmentCopy::copy()
{
    for (int round = 0; round < MaxRounds; ++round) {
        // Recovery creates files that appear after this. The log is copied after the pages: it must reach at least as
        // far as they do.
        const LogPosition before = log_.end();
        const std::size_t databases = list_.files.size();
        if (const int rc = copyDatabases())
            return rc;
        const bool wasLast = list_.files.size() == databases;
        if (const int rc = catchUp())
            return rc;
        if (wasLast && isLittle(before, log_.end()))
            break;
    }
    return 0;
}

/** From here on the list of the unfinished copy identifies its environment, like that of a finished one. */
int EnvironmentCopy::planOrigin()
{
    LogPosition now;
    std::filesystem::path log;
    int rc = LogTail::flushedPosition(env_, &now);
    if (rc == 0)
        rc = LogTail::filePath(env_, now.file, &log);
    Checksum checksum;
    if (rc == 0)
        rc = checksum.addFile(log, 0, now.offset);
    if (rc != 0)
        return rc;
    planned_.firstLog = list_.firstLog;
    planned_.lastLog = now.file;
    planned_.lastLogSize = now.offset;
    planned_.files[LogFiles::name(now.file)] = {now.offset, checksum.value()};
    return 0;
}

/** A file whose name is not planned yet is not ours, and must not be listed as such. */
int EnvironmentCopy::planFiles()
{
    bool grown = !begun_;
    for (const auto& [name, source] : databases_) {
        std::error_code error;
        if (planned_.files.contains(name))
            continue;
        if (fs::is_regular_file(target_.path() / name, error))
            return EEXIST;
        planned_.files.emplace(name, BackupList::File());
        grown = true;
    }
    return grown ? target_.noteFiles(planned_) : 0;
}

int EnvironmentCopy::copyDatabases()
{
    databases_.clear();
    if (const int rc = DatabaseFiles::find(env_, &databases_))
        return rc;
    if (const int rc = planFiles())
        return rc;
    directories_.clear();
    for (const auto& [name, source] : databases_) {
        if (list_.files.contains(name))
            continue;
        if (const int rc = copyDatabase(name, source))
            return rc;
    }
    for (const fs::path& directory : directories_) {
        if (const int rc = Base::syncToDisk(directory))
            return rc;
    }
    return 0;
}

int EnvironmentCopy::copyDatabase(const std::string& name, const fs::path& source)
{
    const fs::path target = target_.path() / name;
    std::error_code error;
    if (const int rc = makeDirectoriesFor(name))
        return rc;
    const auto attempt = [&] { return env_->dbbackup(name.c_str(), target_.path().c_str(), 0); };
    const int rc = [&] {
        const std::lock_guard files(env_->filesMutex()); // it is not removed or shortened meanwhile
        return Deadlocks::retry(attempt, [](int) {});
    }();
    if (rc == ENOENT && !fs::exists(source, error))
        return 0; // it was being created, and its transaction was aborted
    if (rc != 0)
        return rc;
    if (const int failure = Base::syncToDisk(target))
        return failure;
    Checksum checksum;
    BackupList::File file;
    file.size = fs::file_size(target, error);
    if (error)
        return error.value();
    if (const int failure = checksum.addFile(target, 0, file.size))
        return failure;
    file.checksum = checksum.value();
    list_.files.emplace(name, file);
    return 0;
}

/** Records them, too: they are synced to disk once all of their files exist. */
int EnvironmentCopy::makeDirectoriesFor(const std::string& name)
{
    fs::path directory = target_.path();
    const fs::path parent = fs::path(name).parent_path();
    directories_.insert(directory);
    for (const fs::path& part : parent) {
        directory /= part;
        if (::mkdir(directory.c_str(), S_IRWXU) != 0 && errno != EEXIST)
            return errno;
        directories_.insert(directory);
    }
    return 0;
}

/**
 * A finished list describes files that do not change. If the server exited with a log file longer than listed, the copy
 * could not be distinguished from one that was opened as an environment.
 */
int EnvironmentCopy::takeListBack()
{
    return listed_ ? setListed(false) : 0;
}

int EnvironmentCopy::catchUp()
{
    if (const int rc = takeListBack())
        return rc;
    return log_.catchUp(&list_.files);
}

int EnvironmentCopy::writeList()
{
    list_.lastLog = log_.end().file;
    list_.lastLogSize = log_.end().offset;
    if (const int rc = target_.noteFiles(list_))
        return rc;
    return setListed(true);
}

/** Gives the list of files its final name, or the one of an unfinished copy. Returns 0 or an errno value. */
int EnvironmentCopy::setListed(bool listed)
{
    const fs::path finished = target_.path() / BackupNames::ListFile;
    const fs::path unfinished = target_.path() / BackupNames::UnfinishedListFile;
    std::error_code error;
    fs::rename(listed ? unfinished : finished, listed ? finished : unfinished, error);
    if (error)
        return error.value();
    listed_ = listed;
    return Base::syncToDisk(target_.path());
}

void EnvironmentCopy::dropLog()
{
    if (begun_)
        (void)LogShipping::removeLogs(
            QByteArray::fromStdString(target_.path())); // ignored: the backup has failed already
}

#include "storage/backuporigin.h"

#include "base/paths.h"
#include "format/backupnames.h"
#include "format/checksum.h"
#include "format/logfiles.h"
#include "storage/bdbenv.h"
#include "storage/databasefile.h"
#include "storage/logcomparison.h"
#include "storage/logtail.h"

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <set>
#include <string>

namespace fs = std::filesystem;

int BackupOrigin::ofCopy(const DatabaseFiles::ByName& databases, bool unfinished, bool* same) const
{
    *same = false;
    bool untouched = false;
    if (!unfinished)
        untouched = isAsItWasLeft();
    else if (const int rc = isUnfinishedCopy(&untouched))
        return rc;
    if (untouched) {
        if (const int rc = isOfThisEnvironment(databases, unfinished, same))
            return rc;
    }
    return *same ? agreesWithShippedLogs(same) : 0;
}

int BackupOrigin::ofShipping(bool finished, bool* continues) const
{
    *continues = false;
    if (const int rc = finished ? continuesCopy(continues) : continuesShippedLogs(continues))
        return rc;
    return *continues ? agreesWithShippedLogs(continues) : 0;
}

/**
 * Opening an unfinished copy as an environment writes to its log. So each log file must be one of a finished copy that
 * was being removed, or a prefix of the environment's own.
 */
int BackupOrigin::isUnfinishedCopy(bool* untouched) const
{
    for (const std::uint32_t number : LogFiles::numbersIn(path_)) {
        const std::string name = LogFiles::name(number);
        const auto listed = earlier_.files.find(name);
        Checksum checksum;
        if (listed != earlier_.files.end() &&
            Base::sizeOfFile(path_ / name) == static_cast<std::int64_t>(listed->second.size) &&
            checksum.addFile(path_ / name, 0, listed->second.size) == 0 && checksum.value() == listed->second.checksum)
            continue;
        bool ofOurs = false;
        if (const int rc = LogComparison::isOfLog(env_, number, path_ / name, &ofOurs))
            return rc;
        if (!ofOurs)
            return 0;
    }
    *untouched = true;
    return 0;
}

/** False if the copy has been opened as an environment, or further log files have been added. */
bool BackupOrigin::isAsItWasLeft() const
{
    for (const std::uint32_t number : LogFiles::numbersIn(path_)) {
        if (!earlier_.files.contains(LogFiles::name(number)))
            return false;
    }
    return std::all_of(earlier_.files.begin(), earlier_.files.end(), [this](const auto& file) {
        const std::int64_t size = Base::sizeOfFile(path_ / file.first);
        return size < 0 || static_cast<std::uint64_t>(size) == file.second.size;
    });
}

/** An unfinished copy need not have all databases; if it has none, it is identified by the home. */
int BackupOrigin::isOfThisEnvironment(const DatabaseFiles::ByName& databases, bool unfinished, bool* same) const
{
    const char* home = nullptr;
    if (const int rc = env_->get_home(&home))
        return rc;
    LogPosition now;
    std::uint32_t first = 0;
    int rc = LogTail::flushedPosition(env_, &now);
    if (rc == 0)
        rc = LogTail::firstFile(env_, &first);
    if (rc != 0)
        return rc == DB_NOTFOUND ? 0 : rc;
    if (now.file < earlier_.lastLog || (now.file == earlier_.lastLog && now.offset < earlier_.lastLogSize))
        return 0; // an environment behind the copy is not the one that was copied
    if (first <= earlier_.lastLog)
        return continuesCopy(same);
    // The log files in between are gone. The database ids identify the copy as well, if there are any.
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

int BackupOrigin::continuesCopy(bool* continues) const
{
    std::uint32_t first = 0;
    if (const int rc = LogTail::firstFile(env_, &first))
        return rc == DB_NOTFOUND ? 0 : rc;
    const auto last = earlier_.files.find(LogFiles::name(earlier_.lastLog));
    if (first <= earlier_.lastLog) {
        if (last == earlier_.files.end())
            return 0;
        fs::path own;
        if (const int rc = LogTail::filePath(env_, earlier_.lastLog, &own))
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
    return LogComparison::followsLog(env_, first, path_ / BackupNames::LogDirectory, continues);
}

/** Without a copy: the shipped log files must lead up to the environment's, or be replaced by them. */
int BackupOrigin::continuesShippedLogs(bool* continues) const
{
    const fs::path directory = path_ / BackupNames::LogDirectory;
    const std::set<std::uint32_t> shipped = LogFiles::numbersIn(directory);
    std::uint32_t first = 0;
    if (const int rc = LogTail::firstFile(env_, &first)) {
        *continues = rc == DB_NOTFOUND && shipped.empty();
        return rc == DB_NOTFOUND ? 0 : rc;
    }
    if (!shipped.contains(first - 1)) {
        *continues = shipped.empty() || *shipped.begin() >= first;
        return 0;
    }
    return LogComparison::followsLog(env_, first, directory, continues);
}

/**
 * Another environment of the same origin, such as a restored backup, may be behind the shipped log files or have
 * diverged from them: their records exist nowhere else. If it no longer has log files of these numbers, nor the next
 * one, this cannot be checked.
 */
int BackupOrigin::agreesWithShippedLogs(bool* agrees) const
{
    const fs::path directory = path_ / BackupNames::LogDirectory;
    const std::set<std::uint32_t> shipped = LogFiles::numbersIn(directory);
    *agrees = shipped.empty();
    if (shipped.empty())
        return 0;
    std::uint32_t first = 0;
    if (const int rc = LogTail::firstFile(env_, &first))
        return rc == DB_NOTFOUND ? 0 : rc;
    const std::uint32_t last = *shipped.rbegin();
    if (last >= first)
        return LogComparison::isOfLog(env_, last, directory / LogFiles::name(last), agrees);
    if (last + 1 == first)
        return LogComparison::followsLog(env_, first, directory, agrees);
    *agrees = true;
    return 0;
}

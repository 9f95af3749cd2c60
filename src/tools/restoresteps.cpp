#include "tools/restoresteps.h"

#include "base/paths.h"
#include "format/backupnames.h"
#include "format/logfiles.h"
#include "format/logrecords.h"
#include "tools/filecopy.h"
#include "tools/interruption.h"
#include "tools/logscan.h"
#include "tools/messages.h"
#include "tools/restoredenvironment.h"
#include "tools/times.h"

#include <cstdint>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

/** Resolves symbolic links; the target need not exist yet. */
bool liesIn(const fs::path& target, const fs::path& directory)
{
    std::error_code error;
    const fs::path path = fs::weakly_canonical(fs::absolute(target, error), error);
    const fs::path within = error ? fs::path() : fs::canonical(directory, error);
    return !error && Base::isWithin(path, within);
}

} // namespace

RestoreSteps::RestoreSteps(BackupParts backup, const fs::path& target, const RestoreWish& wish,
                           RestoreProgress progress)
    : parts_(std::move(backup)), backup_(parts_.copy), given_(target), wish_(wish), progress_(std::move(progress)),
      target_(target)
{}

std::string RestoreSteps::run()
{
    // A copy that is still being made is locked as well; it is checked first because it has its own message.
    std::string error;
    if (isUnfinished(backup_, &error))
        return error;
    if (isOpenEnvironment(backup_))
        return backup_.string() + " is open in a server";
    if (!readBackup(parts_, wish_.unlisted, &files_, &error))
        return error;
    for (const auto& [name, reason] : files_.leftOut)
        complain((backup_ / name).string() + " is skipped: " + reason);
    if (liesIn(given_, backup_))
        return given_.string() + " is inside " + backup_.string() + ", which a restore must not change";
    if (error = target_.prepare(); !error.empty())
        return error;
    error = fill();
    progress_.end();
    return error.empty() ? target_.publish() : error;
}

std::string RestoreSteps::fill()
{
    for (const auto step :
         {&RestoreSteps::copyLogs, &RestoreSteps::checkLogs, &RestoreSteps::cutLog, &RestoreSteps::copyDatabases,
          &RestoreSteps::recover, &RestoreSteps::verify, &RestoreSteps::count}) {
        std::string error = (this->*step)();
        if (Interruption::requested())
            return "restore stopped: interrupted";
        if (!error.empty())
            return error;
    }
    return {};
}

std::string RestoreSteps::copy(const BackupFile& file, const std::string& name)
{
    progress_.show("copying", ++copied_, files_.databases.size() + files_.logs.size());
    return copyBackupFile(file, backup_, home() / name);
}

std::string RestoreSteps::copyLogs()
{
    for (const auto& [number, file] : files_.logs) {
        if (auto error = copy(file, LogFiles::name(number)); !error.empty())
            return error;
    }
    return {};
}

/** Runs before the databases are copied, as those may be large. */
std::string RestoreSteps::checkLogs()
{
    if (std::string error = readLog(home(), &log_); !error.empty())
        return ofBackup(error);
    if (!log_.partial)
        return checkLastLog();
    return backup_.string() + " has a gap in its log: " + LogFiles::name(*log_.partial) +
           " is truncated, and later log files cannot be applied without the rest of it";
}

/**
 * A log file is shipped when it is full, so its records end less than one record short of its full size. A crash during
 * shipping leaves a truncated file, whose records are valid as far as they go; records after an unreadable place are a
 * sign of damage.
 */
std::string RestoreSteps::checkLastLog()
{
    const fs::path& last = files_.logs.rbegin()->second.path;
    if (last.parent_path().filename() != BackupNames::LogDirectory || Interruption::requested())
        return {};
    std::error_code error;
    const std::uint64_t size = fs::file_size(last, error);
    const std::string end = std::to_string(log_.end);
    if (error)
        return "cannot read " + last.string() + ": " + error.message();
    if (size > log_.end + LogRecords::LargestRecord)
        return last.string() + " is damaged: its records cannot be read from byte " + end +
               " on; after \"truncate -s " + end + "\" it can be restored up to there";
    if (log_.end + LogRecords::LargestRecord < log_.fullSize && !wish_.until) {
        progress_.end();
        complain(last.string() + " is truncated: its records end at byte " + end +
                 ", and later changes are not restored");
    }
    return {};
}

/**
 * Truncates the log before the first commit that is too late. Recovery then undoes the transactions that have no
 * commit, as after a crash at that instant. Berkeley DB's own recovery to a timestamp decides for each transaction
 * separately, and fails if, after a clock was set back, it keeps a change to a page without an earlier one.
 */
std::string RestoreSteps::cutLog()
{
    if (!wish_.until)
        return {};
    if (!files_.list)
        return backup_.string() +
               " has no list of its files, so its log does not show to which times it can be restored";
    std::map<std::uint32_t, fs::path> logs;
    for (const auto& [number, file] : files_.logs)
        logs.emplace(number, home() / LogFiles::name(number));
    LogScan::Commits commits;
    fs::path failed;
    if (const int error = LogScan::readCommits(logs, {files_.list->lastLog, files_.list->lastLogSize}, wish_.until,
                                               &commits, &failed))
        return withReason("cannot read " + failed.string(), error);
    const std::string cannot = backup_.string() + " cannot be restored to " + Times::text(wish_.until) + ": ";
    if (commits.latestInCopy > wish_.until)
        return cannot + "the copy was complete at " + Times::text(commits.latestInCopy) + "; an earlier copy can";
    if (commits.latest < wish_.until)
        return cannot + "its last commit was at " + Times::text(commits.latest) +
               "; without --until it is restored up to then";
    log_.lastCommit = commits.latestKept;
    return commits.cut ? removeLogFrom(*commits.cut) : std::string();
}

std::string RestoreSteps::removeLogFrom(const LogScan::Position& cut)
{
    std::error_code error;
    for (const auto& [number, file] : files_.logs) {
        const fs::path path = home() / LogFiles::name(number);
        if (number == cut.file)
            fs::resize_file(path, cut.offset, error);
        else if (number > cut.file)
            fs::remove(path, error);
        if (error)
            return "cannot cut off " + path.string() + ": " + error.message();
    }
    return {};
}

std::string RestoreSteps::copyDatabases()
{
    for (const auto& [name, file] : files_.databases) {
        if (auto error = copy(file, name); !error.empty())
            return error;
    }
    return {};
}

std::string RestoreSteps::recover()
{
    progress_.show("recovering", 0, 1);
    return ofBackup(recoverEnvironment(home(), home()));
}

std::string RestoreSteps::verify()
{
    const auto verifying = [&](std::size_t done, std::size_t all) { progress_.show("verifying", done, all); };
    return ofBackup(verifyDatabases(home(), verifying));
}

std::string RestoreSteps::count()
{
    return ofBackup(countItems(home(), &items_));
}

/** Names the backup in an error, as the name of the work directory means nothing to the user. */
std::string RestoreSteps::ofBackup(const std::string& error) const
{
    return error.empty() ? error : backup_.string() + ": " + error;
}

} // namespace Ctl

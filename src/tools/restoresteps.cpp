#include "tools/restoresteps.h"

#include "base/directorylock.h"
#include "base/paths.h"
#include "format/backupnames.h"
#include "format/logfiles.h"
#include "format/logrecords.h"
#include "tools/filecopy.h"
#include "tools/interruption.h"
#include "tools/messages.h"
#include "tools/restoredenvironment.h"

#include <cerrno>
#include <cstdint>
#include <cstring>
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

RestoreSteps::RestoreSteps(fs::path backup, const fs::path& target, UnlistedCopy unlisted, RestoreProgress progress)
    : backup_(std::move(backup)), given_(target), unlisted_(unlisted), progress_(std::move(progress)), target_(target)
{}

std::string RestoreSteps::run()
{
    // A copy that is still being made is locked as well; checked first for its own message.
    std::string error;
    if (isUnfinished(backup_, &error))
        return error;
    if (isOpenEnvironment())
        return backup_.string() + " is open in a server";
    if (!readBackup(backup_, unlisted_, &files_, &error))
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
    for (const auto step : {&RestoreSteps::copyLogs, &RestoreSteps::checkLogs, &RestoreSteps::copyDatabases,
                            &RestoreSteps::recover, &RestoreSteps::verify, &RestoreSteps::count}) {
        std::string error = (this->*step)();
        if (Interruption::requested())
            return "restore stopped: interrupted";
        if (!error.empty())
            return error;
    }
    return {};
}

/**
 * A copy with a list is not an open environment: had it been opened since, its log file would differ from the one
 * copied. The lock is released at once, as the server takes it when it ships log files.
 */
bool RestoreSteps::isOpenEnvironment() const
{
    std::error_code error;
    Base::DirectoryLock lock;
    return !fs::exists(backup_ / BackupNames::ListFile, error) &&
           lock.lock(backup_, Base::DirectoryLock::Shared) == EWOULDBLOCK;
}

std::string RestoreSteps::copy(const BackupFile& file, const std::string& name)
{
    progress_.show("copying", ++copied_, files_.databases.size() + files_.logs.size());
    const fs::path to = home() / name;
    std::error_code failure;
    fs::create_directories(to.parent_path(), failure);
    LeadingChecksum leading(file.listed ? file.listed->size : 0);
    if (const int error = failure ? failure.value() : copyFile(file.path, to, &leading))
        return "cannot copy " + file.path.string() + ": " + std::strerror(error);
    if (file.listed && !leading.is(file.listed->checksum))
        return ofBackup(file.path.lexically_relative(backup_).string() + " is damaged: its checksum does not match");
    return {};
}

std::string RestoreSteps::copyLogs()
{
    for (const auto& [number, file] : files_.logs) {
        if (auto error = copy(file, LogFiles::name(number)); !error.empty())
            return error;
    }
    return {};
}

/** Runs before the databases are copied, as they may be large. */
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
    if (log_.end + LogRecords::LargestRecord < log_.fullSize) {
        progress_.end();
        complain(last.string() + " is truncated: its records end at byte " + end +
                 ", and later changes are not restored");
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
    return ofBackup(recoverEnvironment(home()));
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

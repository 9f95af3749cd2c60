#include "tools/standby.h"

#include "base/paths.h"
#include "format/logfiles.h"
#include "tools/backupseries.h"
#include "tools/interruption.h"
#include "tools/resolvedpath.h"
#include "tools/restoredenvironment.h"
#include "tools/restoredlog.h"

#include <algorithm>
#include <system_error>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

constexpr const char* Interrupted = "interrupted";

std::string interruption()
{
    return Interruption::requested() ? Interrupted : std::string();
}

/** The parts of the backup that the standby starts from. */
std::string readSource(const fs::path& backup, BackupParts* parts, BackupFiles* files)
{
    std::string error = BackupSeries::choose(backup, std::nullopt, parts);
    if (error.empty())
        (void)readBackup(*parts, UnlistedCopy::Refused, files, &error); // ignored: `error` has the reason
    return error;
}

} // namespace

std::string Standby::open(const fs::path& backup)
{
    if (Base::isWithin(target_.directory(), resolvedPath(backup)))
        return target_.directory().string() + " is inside " + backup.string() + ", which a standby must not change";
    std::error_code error;
    const bool isNew = !fs::exists(target_.directory(), error);
    if (isNew && !fs::is_directory(backup, error))
        return backup.string() + " is not a directory";
    BackupParts parts(backup);
    BackupFiles files;
    // Before anything is created that would have to be removed again.
    if (std::string problem = isNew ? readSource(backup, &parts, &files) : std::string(); !problem.empty())
        return problem;
    if (std::string problem = target_.open(); !problem.empty())
        return problem;
    return target_.progress().stage == StandbyProgress::Making ? begin(backup) : std::string();
}

/** Copies the databases, and the log files that belong to them. */
std::string Standby::begin(const fs::path& backup)
{
    BackupParts parts(backup);
    BackupFiles files;
    std::string error = readSource(backup, &parts, &files);
    for (auto file = files.databases.begin(); error.empty() && file != files.databases.end(); ++file)
        error = copyBackupFile(file->second, parts.copy, target_.directory() / file->first);
    for (auto file = files.logs.begin(); error.empty() && file != files.logs.end(); ++file)
        error = copyBackupFile(file->second, parts.copy, target_.logDirectory() / LogFiles::name(file->first));
    if (Interruption::requested())
        return Interrupted;
    if (!error.empty())
        return error;
    StandbyProgress start;
    start.stage = StandbyProgress::Following;
    start.first = files.logs.begin()->first;
    return target_.note(start);
}

CatchUp Standby::catchUp(const fs::path& backup)
{
    const StandbyProgress before = progress();
    const std::uint32_t from = std::max(before.first, before.last);
    StandbyLogs::Files found;
    bool foreign = false;
    std::string error = StandbyLogs::find(backup, &found);
    if (error.empty())
        error = logs_.fetch(found, from, &foreign);
    if (foreign)
        return {CatchUp::Failed, error};
    // What has arrived is applied even if the rest cannot be read.
    CatchUp result{error.empty() ? CatchUp::Done : CatchUp::Waiting, error};
    StandbyProgress after = before;
    std::optional<std::uint32_t> missing;
    if (error = logs_.examine(from, &after, &missing); !error.empty())
        return {CatchUp::Failed, error};
    if (missing && result.result == CatchUp::Done)
        result = {CatchUp::Waiting, backup.string() + " has a gap in its log: " + LogFiles::name(*missing) +
                                        " is missing or truncated, and later log files cannot be applied without it"};
    if (after.last == before.last && after.end == before.end)
        return result;
    error = apply(after);
    if (error.empty())
        error = target_.note(after);
    std::error_code ignored; // the next round removes it
    fs::remove_all(target_.applyDirectory(), ignored);
    if (error.empty())
        error = logs_.removeOutside(after.first, UINT32_MAX);
    if (!error.empty())
        return {CatchUp::Failed, error};
    result.moved = true;
    return result;
}

/** Leaves the log of the recovered databases in the directory for recovery. */
std::string Standby::apply(const StandbyProgress& after)
{
    const fs::path logs = target_.applyDirectory();
    std::string error = logs_.provide(progress().first, after, logs);
    LogFacts facts;
    if (error.empty())
        error = readLog(logs, &facts);
    if (error.empty() && !Interruption::requested() && (facts.partial || facts.end != after.end)) {
        // Its checksums are wrong. It is fetched again.
        std::error_code ignored;
        const std::string damaged = LogFiles::name(facts.partial.value_or(after.last));
        fs::remove(target_.logDirectory() / damaged, ignored);
        error = damaged + " is damaged";
    }
    if (error.empty())
        error = interruption();
    return error.empty() ? recoverEnvironment(target_.directory(), logs) : error;
}

std::string Standby::switchOver(std::map<std::string, long long>* items)
{
    if (!isSwitching()) {
        if (std::string error = takeLog(); !error.empty())
            return error;
    }
    std::error_code failure;
    fs::remove_all(target_.logDirectory(), failure);
    if (failure)
        return "cannot remove " + target_.logDirectory().string() + ": " + failure.message();
    std::string error = verifyDatabases(target_.directory(), [](auto, auto) {});
    if (error.empty())
        error = interruption();
    if (error.empty())
        error = countItems(target_.directory(), items);
    if (error.empty())
        error = interruption();
    return error.empty() ? target_.release() : error;
}

/** Runs recovery once more, and keeps the resulting log. */
std::string Standby::takeLog()
{
    StandbyProgress reached = progress();
    if (reached.last == 0)
        return target_.directory().string() + " has never caught up";
    if (std::string error = apply(reached); !error.empty())
        return error;
    std::error_code failure;
    for (const std::uint32_t number : LogFiles::numbersIn(target_.directory())) // of an interrupted switch
        fs::remove(target_.directory() / LogFiles::name(number), failure);
    for (const std::uint32_t number : LogFiles::numbersIn(target_.applyDirectory())) {
        const std::string name = LogFiles::name(number);
        if (!failure)
            fs::rename(target_.applyDirectory() / name, target_.directory() / name, failure);
    }
    if (failure)
        return "cannot move the log files of " + target_.directory().string() + ": " + failure.message();
    reached.stage = StandbyProgress::Switching;
    return target_.note(reached);
}

} // namespace Ctl

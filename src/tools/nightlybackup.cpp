#include "tools/nightlybackup.h"

#include "base/filesync.h"
#include "tools/backupstate.h"
#include "tools/copyremoval.h"
#include "tools/copyrequest.h"
#include "tools/copytarget.h"
#include "tools/copywait.h"
#include "tools/exitcode.h"
#include "tools/interruption.h"
#include "tools/messages.h"
#include "tools/restoresteps.h"
#include "tools/session.h"
#include "tools/times.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace Ctl {

namespace {

std::string contentOf(const RestoreSteps& restored)
{
    long long items = 0;
    for (const auto& [table, count] : restored.items())
        items += count;
    return counted(static_cast<long long>(restored.items().size()), "table") + " with " + counted(items, "item") +
           ", data until " + Times::text(restored.log().lastCommit);
}

} // namespace

NightlyBackup::NightlyBackup(ServerAddress server, const fs::path& directory, fs::path series,
                             const NightlyOptions& options)
    : server_(std::move(server)), directory_(directory.string()), table_(directory_ + "|backup"),
      series_(std::move(series)), options_(options), failed_("cannot back up " + directory_)
{}

int NightlyBackup::run()
{
    Session session(server_);
    if (const int code = readSeries())
        return code;
    if (const int code = checkRunning(&session))
        return code;
    const fs::path copy = nextCopy();
    if (const int code = makeCopy(&session, copy))
        return code;
    std::string held = "not verified";
    if (options_.verify) {
        if (const int code = verify(copy, &held))
            return code;
    }
    std::size_t removed = 0;
    const CopyRemoval::Policy policy{options_.keep, options_.verify, copy};
    if (const std::string problem = CopyRemoval::prune(series_, policy, &removed); !problem.empty())
        return fail(problem, {copy.string() + " was copied all the same, " + held});
    return say(directory_ + ": copied to " + copy.string() + ", " + held + "; removed " +
               counted(static_cast<long long>(removed), "older copy", "older copies"));
}

int NightlyBackup::resume()
{
    if (const int code = readSeries())
        return code;
    const fs::path newest = newestCopy();
    if (newest.empty())
        return fail(series_.string() + " has no complete copy to ship the log files of " + directory_ + " to",
                    {"try: the same command without --resume, which makes a copy"});
    Session session(server_);
    BackupState state;
    if (const int code = askState(&session, table_, failed_, &state))
        return code;
    if (state.isRunning() && !state.isTo(newest))
        return fail(directory_ + " is being backed up to " + state.target + " already");
    if (!state.isShipping(newest)) {
        if (const int code = requestShipping(server_, table_, newest,
                                             "cannot ship the log files of " + directory_ + " to " + newest.string()))
            return code;
    }
    return say(directory_ + ": log files are shipped to " + newest.string());
}

/** Reads the existing copies, which must be of this environment, and removes what earlier runs left behind. */
int NightlyBackup::readSeries()
{
    std::error_code error;
    if (!fs::exists(series_, error) && !error)
        return ExitOk;
    if (const std::string problem = BackupSeries::read(series_, &copies_); !problem.empty())
        return fail(failed_ + ": " + problem);
    BackupList list;
    if (const fs::path newest = newestCopy();
        !newest.empty() && readList(newest, &list).empty() && list.home != directory_)
        return fail(failed_ + ": " + series_.string() + " contains copies of " + list.home,
                    {"try: another directory for --to, or rename " + series_.string()});
    const std::string problem = CopyRemoval::removeLeftovers(series_);
    return problem.empty() ? ExitOk : fail(failed_ + ": " + problem);
}

/** The server would stop any other backup, whose directory would no longer be kept up to date. */
int NightlyBackup::checkRunning(Session* session)
{
    BackupState state;
    if (const int code = askState(session, table_, failed_, &state))
        return code;
    if (state.state == BackupStates::Copying)
        return fail(failed_ + ": the server is still copying it to " + state.target,
                    {"try: again once that copy is complete"});
    const bool isOurs = fs::path(state.target).parent_path() == series_;
    if (!state.isRunning() || isOurs || options_.replace)
        return ExitOk;
    return fail(failed_ + ": it is being backed up to " + state.target + ", and that backup would be stopped",
                {"try: --replace, if " + state.target + " no longer needs to be kept up to date"});
}

/** Its name sorts after those of all copies, even if the clock has been set back. */
fs::path NightlyBackup::nextCopy() const
{
    std::time_t time = std::time(nullptr);
    if (!copies_.empty()) {
        const auto newest = BackupSeries::timeOfCopy(copies_.back().path.filename().string());
        if (newest && *newest > time)
            complain(copies_.back().path.string() + " is dated in the future; the new copy is named one second later");
        time = std::max(time, newest.value_or(0) + 1);
    }
    return series_ / BackupSeries::copyName(time);
}

int NightlyBackup::makeCopy(Session* session, const fs::path& copy)
{
    CopyTarget target(copy);
    if (const int code = requestCopy(server_, table_, copy, failed_, &target))
        return code;
    CopyWait wait(session, table_, copy, &target, CopyWait::FailedCopy::IsTakenBack);
    const int code = wait.untilComplete(std::chrono::seconds(options_.stallSeconds));
    if (code != ExitOk)
        takeBack(session, copy, &target);
    return code;
}

/** Removes a copy that failed, and resumes log shipping to the one before it. */
void NightlyBackup::takeBack(Session* session, const fs::path& copy, CopyTarget* target)
{
    BackupState state;
    if (Interruption::requested() || askState(session, table_, failed_, &state) != ExitOk || state.isRunning() ||
        state.isCopying(copy))
        return; // the server may still write there
    std::error_code error;
    fs::remove_all(copy, error);
    if (error)
        complain("cannot remove the unfinished copy " + copy.string() + ": " + error.message());
    target->undo();
    if (const fs::path newest = newestCopy(); !newest.empty())
        (void)requestShipping(server_, table_, newest, // ignored: it has been reported
                              "cannot resume shipping the log files of " + directory_ + " to " + newest.string());
}

/** Without log files that are being shipped meanwhile. */
int NightlyBackup::verify(const fs::path& copy, std::string* held)
{
    const fs::path scratch = series_ / BackupSeries::VerificationDirectory;
    BackupParts parts(copy);
    parts.withShippedLogs = false;
    RestoreSteps restore(parts, scratch, {}, {[](auto, auto, auto) {}, [] {}});
    std::string error = restore.run();
    std::error_code failure;
    if (error.empty())
        fs::remove_all(scratch, failure);
    if (failure)
        error = "cannot remove " + scratch.string() + ": " + failure.message();
    if (!error.empty())
        return fail(copy.string() + " is not verified: " + error, {"no older copy has been removed"});
    *held = contentOf(restore);
    const fs::path note = BackupSeries::verificationNote(copy);
    int rc = Base::writeToDisk(note, *held + '\n');
    rc = rc == 0 ? Base::syncToDisk(series_) : rc;
    return rc == 0 ? ExitOk : fail(withReason("cannot write " + note.string(), rc));
}

fs::path NightlyBackup::newestCopy() const
{
    const auto found = std::find_if(copies_.rbegin(), copies_.rend(), [](const auto& copy) { return copy.isComplete; });
    return found == copies_.rend() ? fs::path() : found->path;
}

} // namespace Ctl

#include "tools/standbycommand.h"

#include "format/logfiles.h"
#include "tools/interruption.h"
#include "tools/messages.h"
#include "tools/standby.h"
#include "tools/times.h"

#include <CLI/CLI.hpp>

#include <chrono>
#include <utility>
#include <vector>

namespace Ctl {

StandbyCommand::StandbyCommand(CLI::App* app)
    : Command(app, "standby", "Keep a directory up to date with a backup, for another server; needs no server",
              "quorvactl standby /srv/backup/shop /srv/standby/shop --follow")
{
    parser()->fallthrough(false); // no server, no address
    parser()
        ->add_option("BACKUPDIR", backup_,
                     "The backup directory, or a directory of dated copies; may be omitted with --switch")
        ->required();
    parser()->add_option("TARGETDIR", target_, "The directory of the standby; a new one must be empty or not exist");
    CLI::Option* const followFlag = parser()->add_flag("--follow", follow_, "Continue until interrupted");
    parser()
        ->add_flag("--switch", switch_, "Catch up one last time, then let servers open TARGETDIR")
        ->excludes(followFlag);
}

int StandbyCommand::run(const ServerAddress&)
{
    if (const int code = checkWords())
        return code;
    const Interruption interruption;
    Standby standby(target_);
    if (const std::string error = backup_.empty() ? standby.openExisting() : standby.open(backup_); !error.empty())
        return fail(error);
    if (follow_)
        return follow(&standby);
    if (!backup_.empty() && !standby.isSwitching()) {
        if (const int code = catchUpOnce(&standby))
            return code;
    }
    if (switch_)
        return switchOver(&standby);
    return standby.isSwitching() ? refuse(target_ + " is being switched; use --switch") : reportProgress(standby);
}

/** A single word is the target of a switch. */
int StandbyCommand::checkWords()
{
    if (target_.empty()) {
        if (!switch_)
            return refuse("TARGETDIR is required");
        std::swap(backup_, target_);
    }
    return target_.empty() ? refuse("the name of the directory is empty") : ExitOk;
}

int StandbyCommand::follow(Standby* standby) const
{
    constexpr int Milliseconds = 1000;
    std::string reported;
    bool hasReported = false; // that it has caught up, even if nothing had to be applied
    if (standby->isSwitching())
        return refuse(target_ + " is being switched; use --switch");
    std::vector<pollfd> nothing;
    do {
        const CatchUp round = standby->catchUp(backup_);
        if (round.moved || (round.result == CatchUp::Done && !hasReported)) {
            hasReported = true;
            if (const int code = reportProgress(*standby))
                return code;
        }
        if (round.result == CatchUp::Failed && !Interruption::requested())
            return fail(round.message);
        if (round.message != reported && !Interruption::requested()) {
            reported = round.message;
            if (!reported.empty())
                complain(reported, {"the standby waits for it"});
        }
    } while (Interruption::wait(&nothing, Milliseconds));
    return ExitOk;
}

int StandbyCommand::catchUpOnce(Standby* standby) const
{
    const CatchUp round = standby->catchUp(backup_);
    if (round.result == CatchUp::Done)
        return ExitOk;
    std::vector<std::string> advice;
    if (switch_)
        advice.push_back("try: quorvactl standby " + target_ + " --switch, to switch without what is missing");
    return fail(round.message, advice);
}

int StandbyCommand::switchOver(Standby* standby) const
{
    std::map<std::string, long long> items;
    const auto until = standby->progress().until;
    if (const std::string error = standby->switchOver(&items); !error.empty())
        return fail(target_ + ": " + error);
    long long sum = 0;
    for (const auto& [table, count] : items)
        sum += count;
    return sayLines({"data until " + Times::text(until), "servers can open " + target_ + ", with " +
                                                             counted(static_cast<long long>(items.size()), "table") +
                                                             " with " + counted(sum, "item")});
}

int StandbyCommand::reportProgress(const Standby& standby) const
{
    const StandbyProgress& progress = standby.progress();
    return say(target_ + " has caught up with " + LogFiles::name(progress.last) + ", data until " +
               Times::text(progress.until));
}

} // namespace Ctl

#include "tools/backupstartcommand.h"

#include "tools/arguments.h"
#include "tools/backupstate.h"
#include "tools/copyrequest.h"
#include "tools/copytarget.h"
#include "tools/copywait.h"
#include "tools/messages.h"
#include "tools/session.h"

#include <CLI/CLI.hpp>

#include <chrono>

namespace Ctl {

BackupStartCommand::BackupStartCommand(CLI::App* backup)
    : Command(backup, "start", "Copy the environment to a directory, then ship its log files there",
              "quorvactl backup start 'build/shop|orders' /srv/backup/shop --wait")
{
    addTableArgument(parser(), &table_);
    directory_.declare(parser());
    parser()->add_flag("--wait", wait_, "Wait until the copy is complete");
    parser()->add_flag("--replace", replace_, "Replace a backup of the environment to another directory");
    parser()
        ->add_option("--stall", stallSeconds_, "With --wait: give up when the copy has not grown for this many seconds")
        ->check(wholeNumber(1, "seconds"))
        ->capture_default_str();
}

int BackupStartCommand::run(const ServerAddress& server)
{
    if (const int code = directory_.resolve())
        return code;
    Session session(server);
    if (const int code = checkNoOther(&session))
        return code;
    CopyTarget target(directory_.path);
    if (const int code = requestCopy(server, table_, directory_.path,
                                     "cannot back up " + table_ + " to " + directory_.path, &target))
        return code;
    CopyWait copy(&session, table_, directory_.path, &target);
    return wait_ ? copy.untilComplete(std::chrono::seconds(stallSeconds_)) : copy.untilBegun();
}

/**
 * The server would silently stop log shipping to another directory, and a restore from there would yield old data.
 * Checked before anything is created for the copy. Returns an exit code.
 */
int BackupStartCommand::checkNoOther(Session* session) const
{
    BackupState state;
    if (const int code = askState(session, table_, "cannot back up " + table_ + " to " + directory_.path, &state))
        return code;
    if (!state.isRunning() || replace_ || state.isTo(directory_.path))
        return ExitOk;
    complain("the environment of " + table_ + " is already being backed up to " + state.target +
                 ", and that backup would be stopped",
             {"try: --replace, if " + state.target + " no longer needs to be kept up to date"});
    return ExitErrorReply;
}

} // namespace Ctl

#include "tools/backupupdatecommand.h"

#include "protocol/administration.h"
#include "tools/adminaction.h"
#include "tools/arguments.h"
#include "tools/backupstate.h"
#include "tools/messages.h"
#include "tools/session.h"

#include <chrono>
#include <thread>

namespace Ctl {

BackupUpdateCommand::BackupUpdateCommand(CLI::App* backup)
    : Command(backup, "update", "Ship log files to the directory of an earlier copy",
              "quorvactl backup update 'build/shop|orders' /srv/backup/shop")
{
    addTableArgument(parser(), &table_);
    directory_.declare(parser());
}

int BackupUpdateCommand::run(const ServerAddress& server)
{
    if (const int code = directory_.resolve())
        return code;
    const std::string failed = "cannot ship the log files of " + table_ + " to " + directory_.word;
    if (const int code = sendAction(server, table_, AdminActions::ShipLogs, directory_.path, failed))
        return code;
    return waitForRefusal(server, failed);
}

/**
 * The reply only confirms that shipping has started. If the server then finds the directory unsuitable, it stops within
 * a moment. Returns an exit code.
 */
int BackupUpdateCommand::waitForRefusal(const ServerAddress& server, const std::string& failed) const
{
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::seconds ToRefuse{1};
    Session session(server);
    const Clock::time_point end = Clock::now() + ToRefuse;
    BackupState state;
    do {
        if (const int code = askState(&session, table_, "cannot ask for the state of the backup of " + table_, &state))
            return code;
        if (!state.isShipping(directory_.path)) {
            complain(
                failed + ": shipping has ended",
                {"try: the server's log; the reason is behind \"log backup failed for\" or in the line before it"});
            return ExitErrorReply;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    } while (Clock::now() < end);
    return ExitOk;
}

} // namespace Ctl

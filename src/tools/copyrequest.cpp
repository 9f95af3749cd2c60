#include "tools/copyrequest.h"

#include "protocol/administration.h"
#include "tools/adminaction.h"
#include "tools/backupstate.h"
#include "tools/copytarget.h"
#include "tools/copywait.h"
#include "tools/exitcode.h"
#include "tools/messages.h"
#include "tools/session.h"

#include <chrono>
#include <filesystem>
#include <system_error>
#include <thread>

namespace Ctl {

int requestCopy(const ServerAddress& server, const std::string& table, const std::string& directory,
                const std::string& failed, CopyTarget* target)
{
    if (const std::string error = target->prepare(); !error.empty()) {
        std::error_code unreadable;
        if (std::filesystem::exists(target->marker(), unreadable))
            complain(error, {"try: if no server is writing to the directory, remove this file and start again"});
        else
            complain(error);
        return ExitErrorReply;
    }
    const int code = sendAction(server, table, AdminActions::StartBackup, directory, failed);
    if (code == ExitErrorReply)
        target->undo(); // no backup will remove the marker
    else if (code == ExitNoReply)
        complainMarkerStays(*target);
    return code;
}

int requestShipping(const ServerAddress& server, const std::string& table, const std::string& directory,
                    const std::string& failed)
{
    using Clock = std::chrono::steady_clock;
    constexpr std::chrono::seconds ToRefuse{1};
    if (const int code = sendAction(server, table, AdminActions::ShipLogs, directory, failed))
        return code;
    // The reply only confirms that shipping has started. If the server then finds the directory unsuitable, it stops
    // within a moment.
    Session session(server);
    const Clock::time_point end = Clock::now() + ToRefuse;
    BackupState state;
    do {
        if (const int code = askState(&session, table, "cannot ask for the state of the backup of " + table, &state))
            return code;
        if (!state.isShipping(directory)) {
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

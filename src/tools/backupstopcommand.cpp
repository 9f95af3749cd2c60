#include "tools/backupstopcommand.h"

#include "tools/adminaction.h"
#include "tools/arguments.h"

namespace Ctl {

BackupStopCommand::BackupStopCommand(CLI::App* backup)
    : Command(backup, "stop", "Stop copying and shipping", "quorvactl backup stop 'build/shop|orders'")
{
    addTableArgument(parser(), &table_);
}

int BackupStopCommand::run(const ServerAddress& server)
{
    return sendAction(server, table_, "StopDbBackup", "", "cannot stop the backup of " + table_);
}

} // namespace Ctl

#include "tools/backupupdatecommand.h"

#include "tools/arguments.h"
#include "tools/copyrequest.h"

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
    return requestShipping(server, table_, directory_.path,
                           "cannot ship the log files of " + table_ + " to " + directory_.word);
}

} // namespace Ctl

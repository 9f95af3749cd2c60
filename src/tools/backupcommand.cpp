#include "tools/backupcommand.h"

#include "tools/actioncommand.h"
#include "tools/backupnightlycommand.h"
#include "tools/backupshowcommand.h"
#include "tools/backupstartcommand.h"
#include "tools/backupupdatecommand.h"

#include <CLI/CLI.hpp>

namespace Ctl {

BackupCommand::BackupCommand(CLI::App* app)
    : Command(app, "backup", "Back up a table's environment while it is in use",
              "quorvactl backup start 'build/shop|orders' /srv/backup/shop --wait"),
      actions_(parser())
{
    actions_.add<BackupStartCommand>();
    actions_.add<BackupUpdateCommand>();
    actions_.add<ActionCommand>(ActionCommand::StopBackup);
    actions_.add<BackupNightlyCommand>();
    actions_.add<BackupShowCommand>();
    parser()->require_subcommand(1);
}

int BackupCommand::run(const ServerAddress& server)
{
    return actions_.runChosen(server);
}

} // namespace Ctl

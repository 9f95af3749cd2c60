#include "tools/backupcommand.h"

#include "tools/backupstartcommand.h"
#include "tools/backupstopcommand.h"
#include "tools/backupupdatecommand.h"

#include <CLI/CLI.hpp>

namespace Ctl {

BackupCommand::BackupCommand(CLI::App* app)
    : Command(app, "backup", "Hot backup of the environment that a table is in",
              "quorvactl backup start 'build/shop|orders' /srv/backup/shop --wait"),
      actions_(parser())
{
    actions_.add<BackupStartCommand>();
    actions_.add<BackupUpdateCommand>();
    actions_.add<BackupStopCommand>();
    parser()->require_subcommand(1);
}

int BackupCommand::run(const ServerAddress& server)
{
    return actions_.runChosen(server);
}

} // namespace Ctl

#include "tools/actioncommand.h"

#include "protocol/administration.h"
#include "tools/adminaction.h"
#include "tools/arguments.h"

namespace Ctl {

const ActionCommand::Kind ActionCommand::Flush{"flush", "Force the log of a table's environment to disk",
                                               "quorvactl flush 'build/shop|orders'", AdminActions::FlushLog,
                                               "cannot flush "};

const ActionCommand::Kind ActionCommand::StopBackup{"stop", "Stop copying and shipping",
                                                    "quorvactl backup stop 'build/shop|orders'",
                                                    AdminActions::StopBackup, "cannot stop the backup of "};

ActionCommand::ActionCommand(CLI::App* app, const Kind& kind)
    : Command(app, kind.name, kind.purpose, kind.example), kind_(kind)
{
    addTableArgument(parser(), &table_);
}

int ActionCommand::run(const ServerAddress& server)
{
    return sendAction(server, table_, kind_.action, "", kind_.failed + table_);
}

} // namespace Ctl

#include "tools/flushcommand.h"

#include "tools/adminaction.h"
#include "tools/arguments.h"

namespace Ctl {

FlushCommand::FlushCommand(CLI::App* app)
    : Command(app, "flush", "Force the log of a table's environment to disk", "quorvactl flush 'build/shop|orders'")
{
    addTableArgument(parser(), &table_);
}

int FlushCommand::run(const ServerAddress& server)
{
    return sendAction(server, table_, "FlushDB", "", "cannot flush " + table_);
}

} // namespace Ctl

#include "tools/scancommand.h"

#include "protocol/bodies.h"
#include "tools/arguments.h"

namespace Ctl {

ScanCommand::ScanCommand(CLI::App* app)
    : Command(app, "scan", "Print all items of a table", "quorvactl scan 'build/shop|orders' --attributes total,paid")
{
    addTableArgument(parser(), &table_);
    options_.declare(parser());
}

int ScanCommand::run(const ServerAddress& server)
{
    return PagedRead(options_, Operations::Scan, Bodies::table(QString::fromStdString(table_))).run(server);
}

} // namespace Ctl

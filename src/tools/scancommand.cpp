#include "tools/scancommand.h"

#include "protocol/bodies.h"

namespace Ctl {

ScanCommand::ScanCommand(CLI::App* app) : command_(app->add_subcommand("scan", "Print all items of a table"))
{
    command_->fallthrough();
    addTableArgument(command_, &table_);
    options_.declare(command_);
    addExample(command_, "quorvactl scan 'build/shop|orders' --attributes total,paid");
}

int ScanCommand::run(const ServerAddress& server) const
{
    return PagedRead(options_, Operations::Scan, Bodies::table(QString::fromStdString(table_))).run(server);
}

} // namespace Ctl

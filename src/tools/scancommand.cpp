#include "tools/scancommand.h"

namespace Ctl {

ScanCommand::ScanCommand(CLI::App* app) : command_(app->add_subcommand("scan", "Print all items of a table"))
{
    command_->fallthrough();
    command_->add_option("TABLE", table_, "The table's name: DIRECTORY|TABLE")->required();
    options_.declare(command_);
}

int ScanCommand::run(const ServerAddress& server) const
{
    return PagedRead(options_, "Scan", {{"TableName", QString::fromStdString(table_)}}).run(server);
}

} // namespace Ctl

#include "tools/commands.h"

#include "tools/actioncommand.h"
#include "tools/backupcommand.h"
#include "tools/createtablecommand.h"
#include "tools/deletecommand.h"
#include "tools/deletetablecommand.h"
#include "tools/describecommand.h"
#include "tools/exportcommand.h"
#include "tools/getcommand.h"
#include "tools/helpcommand.h"
#include "tools/importcommand.h"
#include "tools/initcommand.h"
#include "tools/putcommand.h"
#include "tools/querycommand.h"
#include "tools/requestcommand.h"
#include "tools/restorecommand.h"
#include "tools/scancommand.h"
#include "tools/updatecommand.h"

namespace Ctl {

CommandList allCommands(CLI::App* app)
{
    CommandList commands(app);
    commands.add<PutCommand>();
    commands.add<GetCommand>();
    commands.add<UpdateCommand>();
    commands.add<DeleteCommand>();
    commands.add<ScanCommand>();
    commands.add<QueryCommand>();
    commands.add<ImportCommand>();
    commands.add<ExportCommand>();
    commands.add<InitCommand>();
    commands.add<CreateTableCommand>();
    commands.add<DescribeCommand>();
    commands.add<DeleteTableCommand>();
    commands.add<ActionCommand>(ActionCommand::Flush);
    commands.add<BackupCommand>();
    commands.add<RestoreCommand>();
    commands.add<RequestCommand>();
    commands.add<HelpCommand>();
    return commands;
}

} // namespace Ctl

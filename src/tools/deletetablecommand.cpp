#include "tools/deletetablecommand.h"

#include "format/tablename.h"
#include "tools/arguments.h"
#include "tools/messages.h"
#include "tools/replies.h"
#include "tools/session.h"

namespace Ctl {

DeleteTableCommand::DeleteTableCommand(CLI::App* app)
    : Command(app, "delete-table", "Close a table's environment; no file is deleted",
              "quorvactl delete-table 'build/shop|orders'")
{
    addTableArgument(parser(), &table_);
}

int DeleteTableCommand::run(const ServerAddress& server)
{
    const std::string directory(TableNames::directory(table_));
    Session session(server);
    QVariantMap reply;
    const int code = session.request(Operations::DeleteTable, Bodies::table(QString::fromStdString(table_)), &reply);
    if (code == ExitErrorReply)
        complainReply("cannot close " + directory, reply);
    if (code != ExitOk)
        return code;
    return say("closed " + directory + "; its files are still there");
}

} // namespace Ctl

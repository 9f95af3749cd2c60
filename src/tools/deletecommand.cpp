#include "tools/deletecommand.h"

#include "tools/arguments.h"
#include "tools/messages.h"

namespace Ctl {

DeleteCommand::DeleteCommand(CLI::App* app)
    : Command(app, "delete", "Delete an item; one that does not exist is not an error",
              "quorvactl delete 'build/shop|orders' abc 2012-01 --if total=N:17")
{
    addTableArgument(parser(), &table_);
    key_.declare(parser());
    conditions_.declare(parser());
    oldItem_.declare(parser(), "Print the item that was deleted");
}

int DeleteCommand::run(const ServerAddress& server)
{
    Session session(server);
    KeyNames keys;
    QVariantMap body;
    if (const int code = beginItemRequest(table_, &key_, &session, &keys, &body))
        return code;
    oldItem_.addTo(&body);
    if (const int code = conditions_.addTo(&body, keys))
        return code;
    QVariantMap reply;
    const int code = session.request(Operations::DeleteItem, body, &reply);
    if (code == ExitErrorReply)
        complainWrite("cannot delete " + itemName(table_, key_), reply);
    return code == ExitOk ? oldItem_.print(reply, keys, key_.hash, key_.range) : code;
}

} // namespace Ctl

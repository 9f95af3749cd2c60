#include "tools/deletecommand.h"

#include "tools/arguments.h"
#include "tools/itemtext.h"
#include "tools/messages.h"
#include "json/jsonwriter.h"

#include <CLI/CLI.hpp>

namespace Ctl {

DeleteCommand::DeleteCommand(CLI::App* app)
    : Command(app, "delete", "Delete an item; one that does not exist is not an error",
              "quorvactl delete 'build/shop|orders' abc 2012-01 --if total=N:17")
{
    addTableArgument(parser(), &table_);
    key_.declare(parser());
    conditions_.declare(parser());
    parser()
        ->add_option("--return", wanted_, "Print the item that was deleted")
        ->check(CLI::IsMember({"none", "old"}))
        ->capture_default_str();
}

int DeleteCommand::run(const ServerAddress& server)
{
    if (const int code = key_.decode())
        return code;
    Session session(server);
    KeyNames keys;
    if (const int code = session.readKeys(table_, &keys))
        return code;
    const bool wantsOld = wanted_ == "old";
    QVariantMap body = Bodies::itemByKey(QString::fromStdString(table_), key_.hash, key_.range);
    Bodies::setReturnValues(wantsOld ? Bodies::ReturnAllOld : Bodies::ReturnNone, &body);
    if (const int code = conditions_.addTo(&body, keys))
        return code;
    QVariantMap reply;
    const int code = session.request(Operations::DeleteItem, body, &reply);
    if (code == ExitErrorReply)
        complainWrite("cannot delete " + itemName(table_, key_), reply);
    const QVariantMap old = reply.value("Attributes").toMap();
    if (code != ExitOk || !wantsOld || old.isEmpty())
        return code;
    return printLine(Json::serialize(withKeys(old, keys, key_.hash, key_.range)));
}

} // namespace Ctl

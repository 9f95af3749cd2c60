#include "tools/deletecommand.h"

#include "tools/itemtext.h"
#include "json/jsonadapter.h"

namespace Ctl {

DeleteCommand::DeleteCommand(CLI::App* app)
    : command_(app->add_subcommand("delete", "Delete an item; one that is not there is no error"))
{
    command_->fallthrough();
    addTableArgument(command_, &table_);
    key_.declare(command_);
    conditions_.declare(command_);
    command_->add_option("--return", wanted_, "Print the item that was deleted")
        ->check(CLI::IsMember({"none", "old"}))
        ->capture_default_str();
    addExample(command_, "quorvactl delete 'build/shop|orders' abc 2012-01 --if total=N:17");
}

int DeleteCommand::run(const ServerAddress& server)
{
    if (const int code = key_.decode())
        return code;
    Session session(server);
    TableKeys keys;
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

#include "tools/putcommand.h"

#include "protocol/limits.h"
#include "tools/arguments.h"
#include "tools/itemtext.h"
#include "tools/messages.h"
#include "json/jsonwriter.h"

#include <CLI/CLI.hpp>

namespace Ctl {

PutCommand::PutCommand(CLI::App* app)
    : Command(app, "put", "Store an item, replacing the one with the same keys",
              "quorvactl put 'build/shop|orders' customer=S:abc date=S:2012-01 total=N:17")
{
    addTableArgument(parser(), &table_);
    parser()
        ->add_option(
            "ITEM", item_,
            "The item with its keys: JSON {...}, - for standard input, a file name, or attributes as NAME=TYPE:VALUE")
        ->required();
    conditions_.declare(parser());
    parser()
        ->add_option("--return", wanted_, "Print the item that was replaced")
        ->check(CLI::IsMember({"none", "old"}))
        ->capture_default_str();
}

int PutCommand::run(const ServerAddress& server)
{
    QVariantMap item;
    if (const int code = readItem(item_, &item))
        return code;
    Session session(server);
    KeyNames keys;
    if (const int code = session.readKeys(table_, &keys))
        return code;
    if (const std::string error = checkItem(item, keys, Limits::ItemBytes); !error.empty()) {
        complain("cannot store the item: " + error);
        return ExitUsage;
    }
    const bool wantsOld = wanted_ == "old";
    QVariantMap body = Bodies::putItem(QString::fromStdString(table_), item);
    Bodies::setReturnValues(wantsOld ? Bodies::ReturnAllOld : Bodies::ReturnNone, &body);
    if (const int code = conditions_.addTo(&body, keys))
        return code;
    QVariantMap reply;
    const int code = session.request(Operations::PutItem, body, &reply);
    if (code == ExitErrorReply)
        complainWrite("cannot store the item in " + table_, reply);
    const QVariantMap old = reply.value("Attributes").toMap();
    if (code != ExitOk || !wantsOld || old.isEmpty())
        return code;
    return printLine(Json::serialize(withKeys(old, keys, keyText(item, keys.hash), keyText(item, keys.range))));
}

} // namespace Ctl

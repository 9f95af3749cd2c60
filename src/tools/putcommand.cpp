#include "tools/putcommand.h"

#include "protocol/limits.h"
#include "tools/arguments.h"
#include "tools/itemtext.h"
#include "tools/messages.h"

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
    oldItem_.declare(parser(), "Print the item that was replaced");
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
    QVariantMap body = Bodies::putItem(QString::fromStdString(table_), item);
    oldItem_.addTo(&body);
    if (const int code = conditions_.addTo(&body, keys))
        return code;
    QVariantMap reply;
    const int code = session.request(Operations::PutItem, body, &reply);
    if (code == ExitErrorReply)
        complainWrite("cannot store the item in " + table_, reply);
    return code == ExitOk ? oldItem_.print(reply, keys, keyText(item, keys.hash), keyText(item, keys.range)) : code;
}

} // namespace Ctl

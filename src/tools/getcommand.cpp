#include "tools/getcommand.h"

#include "tools/arguments.h"
#include "tools/itemtext.h"
#include "tools/messages.h"
#include "tools/replies.h"
#include "json/jsonwriter.h"

namespace Ctl {

GetCommand::GetCommand(CLI::App* app)
    : Command(app, "get", "Print an item", "quorvactl get 'build/shop|orders' abc 2012-01")
{
    addTableArgument(parser(), &table_);
    key_.declare(parser());
    addAttributesOption(parser(), &attributes_);
    form_.declare(parser());
}

int GetCommand::run(const ServerAddress& server)
{
    Session session(server);
    KeyNames keys;
    QVariantMap body;
    if (const int code = beginItemRequest(table_, &key_, &session, &keys, &body))
        return code;
    requestAttributes(attributes_, &body);
    QVariantMap reply;
    const int code = session.request(Operations::GetItem, body, &reply);
    if (code == ExitErrorReply)
        complainReply("cannot read " + itemName(table_, key_), reply);
    if (code != ExitOk)
        return code;
    if (!reply.contains("Item"))
        return fail("there is no item \"" + key_.hashWord + "\" \"" + key_.rangeWord + "\" in " + table_);
    const QVariantMap item = withKeys(reply.value("Item").toMap(), keys, key_.hash, key_.range);
    if (form_.isLines())
        return printLine(Json::serialize(item));
    const auto printer = form_.makePrinter(keys, attributes_);
    const int printed = printer->print(item);
    return printed != ExitOk ? printed : printer->end();
}

} // namespace Ctl

#include "tools/updatecommand.h"

#include "tools/arguments.h"
#include "tools/itemtext.h"
#include "tools/messages.h"
#include "tools/replies.h"
#include "tools/updateoutcome.h"
#include "json/jsonwriter.h"

#include <CLI/CLI.hpp>

#include <map>

namespace Ctl {

namespace {

/** The values of --return, and the API's names for them. */
const std::map<std::string, const char*>& returnValues()
{
    static const std::map<std::string, const char*> values{{"none", Bodies::ReturnNone},
                                                           {"old", Bodies::ReturnAllOld},
                                                           {"new", Bodies::ReturnAllNew},
                                                           {"updated-old", Bodies::ReturnUpdatedOld},
                                                           {"updated-new", Bodies::ReturnUpdatedNew}};
    return values;
}

} // namespace

UpdateCommand::UpdateCommand(CLI::App* app)
    : Command(app, "update", "Change attributes of an item; one that does not exist is created",
              "quorvactl update 'build/shop|orders' abc 2012-01 --add total=N:3 --set paid=S:yes")
{
    addTableArgument(parser(), &table_);
    key_.declare(parser());
    options_.declare(parser());
    conditions_.declare(parser());
    parser()
        ->add_option("--return", wanted_,
                     "Print the item or only the updated attributes, as they were before or are after the update")
        ->check(CLI::IsMember({"none", "old", "new", "updated-old", "updated-new"}))
        ->capture_default_str();
}

int UpdateCommand::run(const ServerAddress& server)
{
    if (const int code = key_.decode())
        return code;
    QVariantMap updates;
    if (const std::string error = options_.read(&updates); !error.empty()) {
        complain(error);
        return ExitUsage;
    }
    Session session(server);
    KeyNames keys;
    if (const int code = session.readKeys(table_, &keys))
        return code;
    for (const QString& name : {keys.hash, keys.range}) {
        if (updates.contains(name)) {
            complain('"' + name.toStdString() + "\" is a key attribute, which cannot be updated",
                     {"try: quorvactl put under the new key, then delete the old one"});
            return ExitUsage;
        }
    }
    QVariantMap body = Bodies::updateItem(QString::fromStdString(table_), key_.hash, key_.range, updates);
    Bodies::setReturnValues(returnValues().at(wanted_), &body);
    if (const int code = conditions_.addTo(&body, keys))
        return code;
    if (const int code = checkOutcome(&session, updates, keys))
        return code;
    QVariantMap reply;
    const int code = session.request(Operations::UpdateItem, body, &reply);
    const std::string failed = "cannot update " + itemName(table_, key_);
    if (code == ExitErrorReply && !options_.add.empty() && isNotFound(reply))
        complainReply(failed, reply, "quorvactl get; --add needs an attribute of the same type");
    else if (code == ExitErrorReply)
        complainWrite(failed, reply);
    const QVariantMap attributes = reply.value("Attributes").toMap();
    return code != ExitOk || attributes.isEmpty() ? code : printAttributes(attributes, keys);
}

/**
 * The server computes with integers only, and may write an item that it cannot read back. So the item is read first,
 * unless the update can only make it smaller. Writes by others between the two requests are not noticed. Returns an
 * exit code; errors have been reported.
 */
int UpdateCommand::checkOutcome(Session* session, const QVariantMap& updates, const KeyNames& keys) const
{
    if (!options_.storesValues())
        return ExitOk;
    QVariantMap reply;
    const int code = session->request(Operations::GetItem,
                                      Bodies::itemByKey(QString::fromStdString(table_), key_.hash, key_.range), &reply);
    if (code == ExitNoReply)
        return code;
    QVariantMap item = reply.value("Item").toMap(); // empty after an error, which the update will encounter as well
    std::string error = applyUpdates(updates, &item);
    if (error.empty())
        error = checkStoredSize(item, keys);
    if (error.empty())
        return ExitOk;
    complain("cannot update " + itemName(table_, key_) + ": " + error);
    return ExitUsage;
}

/** The server returns whole items with their keys as bare strings; these are printed like all other attributes. */
int UpdateCommand::printAttributes(QVariantMap attributes, const KeyNames& keys) const
{
    if (wanted_ == "old" || wanted_ == "new")
        attributes = withKeys(attributes, keys, key_.hash, key_.range);
    return printLine(Json::serialize(attributes));
}

} // namespace Ctl

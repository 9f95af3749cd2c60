#include "tools/updatecommand.h"

#include "tools/itemtext.h"
#include "tools/notation.h"
#include "json/jsonadapter.h"

#include <map>

namespace Ctl {

namespace {

/** What --return takes, and the API's names for it. */
const std::map<std::string, const char*>& returnValues()
{
    static const std::map<std::string, const char*> values{{"none", Bodies::ReturnNone},
                                                           {"old", Bodies::ReturnAllOld},
                                                           {"new", Bodies::ReturnAllNew},
                                                           {"updated-old", Bodies::ReturnUpdatedOld},
                                                           {"updated-new", Bodies::ReturnUpdatedNew}};
    return values;
}

std::string addUpdate(const QString& name, const QVariantMap& update, QVariantMap* updates)
{
    if (updates->contains(name))
        return "there are two updates of \"" + name.toStdString() + '"';
    updates->insert(name, update);
    return {};
}

std::string addUpdates(const std::vector<std::string>& words, const char* action, QVariantMap* updates)
{
    QVariantMap values;
    if (auto error = parseAttributes(words, &values); !error.empty())
        return error;
    for (auto value = values.begin(); value != values.end(); ++value) {
        if (auto error = addUpdate(value.key(), Bodies::update(action, value->toMap()), updates); !error.empty())
            return error;
    }
    return {};
}

/** The outcome of an ADD to an attribute that is there. An empty string, or why its value would be lost. */
std::string add(const QString& name, const QVariantMap& addend, QVariantMap* current)
{
    if (addend.contains("S") && current->contains("S"))
        current->insert("S", current->value("S").toString() + addend.value("S").toString());
    if (!addend.contains("N") || !current->contains("N"))
        return {}; // of two types: the server refuses it
    if (auto error = checkInteger(name, *current); !error.empty())
        return "the stored " + error;
    qint64 sum = 0;
    if (qAddOverflow(qint64{current->value("N").toString().toLongLong()},
                     qint64{addend.value("N").toString().toLongLong()}, &sum))
        return "the sum of \"" + name.toStdString() + "\" is no 64-bit integer";
    current->insert("N", QString::number(sum));
    return {};
}

/** Makes of an item what the server will make of it. An empty string or why something would be lost. */
std::string apply(const QVariantMap& updates, QVariantMap* item)
{
    for (auto update = updates.begin(); update != updates.end(); ++update) {
        const QVariantMap fields = update->toMap();
        const QString action = fields.value("Action").toString();
        if (action == Bodies::UpdateDelete) {
            item->remove(update.key());
        } else if (action == Bodies::UpdateAdd && item->contains(update.key())) {
            QVariantMap current = item->value(update.key()).toMap();
            if (auto error = add(update.key(), fields.value("Value").toMap(), &current); !error.empty())
                return error;
            item->insert(update.key(), current);
        } else {
            item->insert(update.key(), fields.value("Value"));
        }
    }
    return {};
}

} // namespace

UpdateCommand::UpdateCommand(CLI::App* app)
    : command_(app->add_subcommand("update", "Change attributes of an item, or make one of them"))
{
    command_->fallthrough();
    addTableArgument(command_, &table_);
    key_.declare(command_);
    addRepeatedOption(command_, "--set", &set_, "Set an attribute: NAME=TYPE:VALUE");
    addRepeatedOption(command_, "--add", &add_,
                      "Add to an integer, or append to a string: NAME=N:NUMBER, NAME=S:TEXT; sets what is not there");
    addRepeatedOption(command_, "--remove", &remove_, "Remove the attribute NAME");
    conditions_.declare(command_);
    command_->add_option("--return", wanted_, "Print the item, or the attributes that were updated, before or after")
        ->check(CLI::IsMember({"none", "old", "new", "updated-old", "updated-new"}))
        ->capture_default_str();
    addExample(command_, "quorvactl update 'build/shop|orders' abc 2012-01 --add total=N:3 --set paid=S:yes");
}

int UpdateCommand::run(const ServerAddress& server)
{
    if (const int code = key_.decode())
        return code;
    QVariantMap updates;
    if (const std::string error = readUpdates(&updates); !error.empty()) {
        complain(error);
        return ExitUsage;
    }
    Session session(server);
    TableKeys keys;
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
    if (code == ExitErrorReply && !add_.empty() && isNotFound(reply))
        complainReply(failed, reply, "quorvactl get; --add needs an attribute of the same type");
    else if (code == ExitErrorReply)
        complainWrite(failed, reply);
    const QVariantMap attributes = reply.value("Attributes").toMap();
    return code != ExitOk || attributes.isEmpty() ? code : printAttributes(attributes, keys);
}

/**
 * The server computes with integers only, and writes an item that it cannot read back. So the item is read first,
 * unless the update can only make it smaller. What others write between the two requests is not seen. An exit code;
 * what is wrong has been told.
 */
int UpdateCommand::checkOutcome(Session* session, const QVariantMap& updates, const TableKeys& keys) const
{
    if (set_.empty() && add_.empty())
        return ExitOk;
    QVariantMap reply;
    const int code = session->request(Operations::GetItem,
                                      Bodies::itemByKey(QString::fromStdString(table_), key_.hash, key_.range), &reply);
    if (code == ExitNoReply)
        return code;
    QVariantMap item = reply.value("Item").toMap(); // none after an error, which the update will meet as well
    std::string error = apply(updates, &item);
    if (error.empty())
        error = checkStoredSize(item, keys);
    if (error.empty())
        return ExitOk;
    complain("cannot update " + itemName(table_, key_) + ": " + error);
    return ExitUsage;
}

/** An empty string or what is wrong. */
std::string UpdateCommand::readUpdates(QVariantMap* updates) const
{
    if (auto error = addUpdates(set_, Bodies::UpdatePut, updates); !error.empty())
        return error;
    if (auto error = addUpdates(add_, Bodies::UpdateAdd, updates); !error.empty())
        return error;
    for (const std::string& word : remove_) {
        QString name;
        if (auto error = decodeWord(word, "--remove", &name); !error.empty())
            return error;
        if (auto error = addUpdate(name, Bodies::update(Bodies::UpdateDelete), updates); !error.empty())
            return error;
    }
    for (auto update = updates->cbegin(); update != updates->cend(); ++update) {
        const QVariantMap fields = update->toMap();
        const QVariantMap value = fields.value("Value").toMap();
        if (fields.value("Action").toString() == Bodies::UpdateAdd && !value.contains("S") && !value.contains("N"))
            return "--add takes strings and numbers only, and \"" + update.key().toStdString() + "\" is neither";
        if (fields.value("Action").toString() == Bodies::UpdateAdd) {
            if (auto error = checkInteger(update.key(), value); !error.empty())
                return "--add adds integers only: " + error;
        }
    }
    return updates->isEmpty() ? "nothing to do: name an attribute with --set, --add or --remove" : std::string();
}

/** The server gives whole items with their keys as bare strings; they are printed like all others. */
int UpdateCommand::printAttributes(QVariantMap attributes, const TableKeys& keys) const
{
    if (wanted_ == "old" || wanted_ == "new")
        attributes = withKeys(attributes, keys, key_.hash, key_.range);
    return printLine(Json::serialize(attributes));
}

} // namespace Ctl

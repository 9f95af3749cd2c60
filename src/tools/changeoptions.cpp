#include "tools/changeoptions.h"

#include "protocol/bodies.h"
#include "tools/arguments.h"
#include "tools/notation.h"
#include "tools/typedvalues.h"

namespace Ctl {

namespace {

std::string insert(const QString& name, const QVariantMap& update, QVariantMap* updates)
{
    if (updates->contains(name))
        return "there are two updates of \"" + name.toStdString() + '"';
    updates->insert(name, update);
    return {};
}

std::string insertValues(const std::vector<std::string>& words, const char* action, QVariantMap* updates)
{
    QVariantMap values;
    if (auto error = parseAttributes(words, &values); !error.empty())
        return error;
    for (auto value = values.begin(); value != values.end(); ++value) {
        if (auto error = insert(value.key(), Bodies::update(action, value->toMap()), updates); !error.empty())
            return error;
    }
    return {};
}

std::string insertRemovals(const std::vector<std::string>& words, QVariantMap* updates)
{
    for (const std::string& word : words) {
        QString name;
        if (auto error = decodeWord(word, "--remove", &name); !error.empty())
            return error;
        if (auto error = insert(name, Bodies::update(Bodies::UpdateDelete), updates); !error.empty())
            return error;
    }
    return {};
}

/** Checks that the server can add each of the addends. */
std::string checkAddends(const QVariantMap& updates)
{
    for (auto update = updates.cbegin(); update != updates.cend(); ++update) {
        const QVariantMap fields = update->toMap();
        if (fields.value("Action").toString() != Bodies::UpdateAdd)
            continue;
        const QVariantMap value = fields.value("Value").toMap();
        if (!value.contains("S") && !value.contains("N"))
            return "--add takes strings and numbers only, and \"" + update.key().toStdString() + "\" is neither";
        if (auto error = checkInteger(update.key(), value); !error.empty())
            return "--add adds integers only: " + error;
    }
    return {};
}

} // namespace

void ChangeOptions::declare(CLI::App* command)
{
    addRepeatedOption(command, "--set", &set, "Set an attribute: NAME=TYPE:VALUE");
    addRepeatedOption(
        command, "--add", &add,
        "Add to an integer, or append to a string: NAME=N:NUMBER, NAME=S:TEXT; sets an attribute that does not exist");
    addRepeatedOption(command, "--remove", &remove, "Remove the attribute NAME");
}

std::string ChangeOptions::read(QVariantMap* updates) const
{
    if (auto error = insertValues(set, Bodies::UpdatePut, updates); !error.empty())
        return error;
    if (auto error = insertValues(add, Bodies::UpdateAdd, updates); !error.empty())
        return error;
    if (auto error = insertRemovals(remove, updates); !error.empty())
        return error;
    if (auto error = checkAddends(*updates); !error.empty())
        return error;
    return updates->isEmpty() ? "nothing to do: name an attribute with --set, --add or --remove" : std::string();
}

} // namespace Ctl

#include "tools/itemoptions.h"

#include "protocol/envelope.h"
#include "tools/notation.h"

namespace Ctl {

namespace {

int refuse(const std::string& error)
{
    if (error.empty())
        return ExitOk;
    complain(error);
    return ExitUsage;
}

/** The conditions of a request. An empty string or what is wrong. */
std::string readConditions(const ConditionOptions& options, QVariantMap* expected)
{
    QVariantMap equal;
    if (auto error = parseAttributes(options.equal, &equal); !error.empty())
        return "--if: " + error;
    for (auto attribute = equal.begin(); attribute != equal.end(); ++attribute) {
        const QVariantMap value = attribute->toMap();
        if (!value.contains("S") && !value.contains("N"))
            return "--if compares strings and numbers only, and \"" + attribute.key().toStdString() + "\" is neither";
        if (auto error = checkInteger(attribute.key(), value); !error.empty())
            return "--if compares integers only: " + error;
        expected->insert(attribute.key(), Bodies::expectedValue(value));
    }
    for (const std::string& word : options.absent) {
        QString name;
        if (auto error = decodeWord(word, "--if-absent", &name); !error.empty())
            return error;
        if (expected->contains(name))
            return "there are two conditions on \"" + word + '"';
        expected->insert(name, Bodies::expectedAbsence());
    }
    return {};
}

} // namespace

CLI::Option* addRepeatedOption(CLI::App* command, const std::string& name, std::vector<std::string>* values,
                               const std::string& description)
{
    return command->add_option(name, *values, description)->allow_extra_args(false);
}

void KeyArguments::declare(CLI::App* command)
{
    command->add_option("HASH", hashWord, "The hash key")->required();
    command->add_option("RANGE", rangeWord, "The range key; '' for the empty one")->required();
}

int KeyArguments::decode()
{
    if (const int code = refuse(decodeKey(hashWord, "the hash key", &hash)))
        return code;
    return refuse(decodeKey(rangeWord, "the range key", &range));
}

void ConditionOptions::declare(CLI::App* command)
{
    addRepeatedOption(command, "--if", &equal, "Only if the attribute has this value: NAME=S:TEXT or NAME=N:NUMBER");
    addRepeatedOption(command, "--if-absent", &absent, "Only if the item has no attribute NAME, or is not there");
}

int ConditionOptions::addTo(QVariantMap* body, const TableKeys& keys) const
{
    QVariantMap expected;
    if (const int code = refuse(readConditions(*this, &expected)))
        return code;
    for (auto condition = expected.begin(); condition != expected.end(); ++condition) {
        if (keys.contains(condition.key())) {
            complain("\"" + condition.key().toStdString() + "\" is a key attribute, which conditions do not see",
                     {"try: a condition on an attribute that every item has"});
            return ExitUsage;
        }
    }
    Bodies::addExpected(expected, body);
    return ExitOk;
}

void complainWrite(const std::string& failed, const QVariantMap& reply)
{
    const bool condition = Envelopes::errorType(reply) == ErrorTypes::ConditionalCheckFailed;
    complainReply(failed, reply, condition ? "quorvactl get; the stored item is not as the conditions want it" : "");
}

std::string itemName(const std::string& table, const KeyArguments& key)
{
    return "the item \"" + key.hashWord + "\" \"" + key.rangeWord + "\" of " + table;
}

} // namespace Ctl

#include "tools/itemoptions.h"

#include "protocol/envelope.h"
#include "tools/arguments.h"
#include "tools/exitcode.h"
#include "tools/itemtext.h"
#include "tools/messages.h"
#include "tools/notation.h"
#include "tools/replies.h"
#include "tools/typedvalues.h"
#include "json/jsonwriter.h"

#include <CLI/CLI.hpp>

namespace Ctl {

namespace {

/** Reads the conditions of a request. Returns an empty string or an error message. */
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

void KeyArguments::declare(CLI::App* command)
{
    command->add_option("HASH", hashWord, "The hash key")->required();
    command->add_option("RANGE", rangeWord, "The range key; '' if it is empty")->required();
}

int KeyArguments::decode()
{
    if (const int code = refuse(decodeKey(hashWord, "the hash key", &hash)))
        return code;
    return refuse(decodeKey(rangeWord, "the range key", &range));
}

int beginItemRequest(const std::string& table, KeyArguments* key, Session* session, KeyNames* keys, QVariantMap* body)
{
    if (const int code = key->decode())
        return code;
    if (const int code = session->readKeys(table, keys))
        return code;
    *body = Bodies::itemByKey(QString::fromStdString(table), key->hash, key->range);
    return ExitOk;
}

void ConditionOptions::declare(CLI::App* command)
{
    addRepeatedOption(command, "--if", &equal, "Only if the attribute has this value: NAME=S:TEXT or NAME=N:NUMBER");
    addRepeatedOption(command, "--if-absent", &absent, "Only if the item has no attribute NAME or does not exist");
}

int ConditionOptions::addTo(QVariantMap* body, const KeyNames& keys) const
{
    QVariantMap expected;
    if (const int code = refuse(readConditions(*this, &expected)))
        return code;
    for (auto condition = expected.begin(); condition != expected.end(); ++condition) {
        if (keys.contains(condition.key())) {
            complain("\"" + condition.key().toStdString() + "\" is a key attribute, which conditions cannot test",
                     {"try: a condition on an attribute that every item has"});
            return ExitUsage;
        }
    }
    Bodies::addExpected(expected, body);
    return ExitOk;
}

void OldItemOption::declare(CLI::App* command, const char* purpose)
{
    command->add_option("--return", wanted, purpose)->check(CLI::IsMember({"none", "old"}))->capture_default_str();
}

void OldItemOption::addTo(QVariantMap* body) const
{
    Bodies::setReturnValues(wanted == "old" ? Bodies::ReturnAllOld : Bodies::ReturnNone, body);
}

int OldItemOption::print(const QVariantMap& reply, const KeyNames& keys, const QString& hash,
                         const QString& range) const
{
    const QVariantMap old = reply.value("Attributes").toMap();
    if (wanted != "old" || old.isEmpty())
        return ExitOk;
    return printLine(Json::serialize(withKeys(old, keys, hash, range)));
}

void complainWrite(const std::string& failed, const QVariantMap& reply)
{
    complainReply(failed, reply,
                  isConditionFailure(reply) ? "quorvactl get; the stored item does not meet the conditions" : "");
}

std::string itemName(const std::string& table, const KeyArguments& key)
{
    return "the item \"" + key.hashWord + "\" \"" + key.rangeWord + "\" of " + table;
}

} // namespace Ctl

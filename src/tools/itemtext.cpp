#include "tools/itemtext.h"

#include "base/fileio.h"
#include "protocol/limits.h"
#include "tools/exitcode.h"
#include "tools/messages.h"
#include "tools/notation.h"
#include "tools/standardinput.h"
#include "tools/typedvalues.h"
#include "json/jsonwriter.h"

#include <algorithm>
#include <cstring>

namespace Ctl {

namespace {

/** Returns false, after reporting it, when the file cannot be read. */
bool readItemFile(const std::string& path, QByteArray* text)
{
    std::string bytes;
    const int error = Base::readFile(path, &bytes);
    if (error != 0)
        complain("cannot read " + path + ": " + std::strerror(error),
                 {"an item is JSON in the form {...}, - for standard input, a file name, or NAME=VALUE ..."});
    *text = QByteArray::fromStdString(bytes);
    return error == 0;
}

int parseItem(const QByteArray& text, const std::string& what, QVariantMap* item)
{
    if (const int code = refuse(parseObject(text, what, item)))
        return code;
    return refuse(checkTypes(*item));
}

std::string checkKeyAttribute(const QVariantMap& item, const QString& name, const char* which)
{
    const std::string what = std::string("the ") + which + " key \"" + name.toStdString() + '"';
    const auto attribute = item.constFind(name);
    if (attribute == item.constEnd())
        return what + " is missing";
    const QVariantMap typed = attribute->toMap();
    if (typed.size() != 1 || typed.value("S").typeId() != QMetaType::QString)
        return what + R"( is not a string, {"S": "..."})";
    return checkKey(keyText(item, name), what);
}

} // namespace

int readItem(const std::vector<std::string>& words, QVariantMap* item)
{
    const std::string& word = words.front();
    const char first = word.empty() ? ' ' : word[std::min(word.find_first_not_of(" \t\n"), word.size() - 1)];
    const bool isJson = first == '{';
    if (words.size() > 1 || (!isJson && word.find('=') != std::string::npos))
        return refuse(parseAttributes(words, item));
    QByteArray text;
    if (isJson)
        return parseItem(QByteArray::fromStdString(word), "the item", item);
    if (word == "-")
        return readStandardInput(&text) ? parseItem(text, "the item on standard input", item) : ExitNoReply;
    return readItemFile(word, &text) ? parseItem(text, "the item in " + word, item) : ExitUsage;
}

std::string checkItem(const QVariantMap& item, const KeyNames& keys, qsizetype textSize)
{
    if (auto error = checkKeyAttribute(item, keys.hash, "hash"); !error.empty())
        return error;
    if (auto error = checkKeyAttribute(item, keys.range, "range"); !error.empty())
        return error;
    if (keyText(item, keys.hash).size() + keyText(item, keys.range).size() > Limits::KeyCharacters)
        return "the two keys are longer than " + std::to_string(Limits::KeyCharacters) +
               " characters together; queries and scans that reach them would fail";
    if (textSize <= Limits::ItemBytes / 2) // leaves room for numbers that become longer when the server rewrites them
        return {};
    return checkStoredSize(item, keys);
}

std::string checkStoredSize(QVariantMap item, const KeyNames& keys)
{
    item.remove(keys.hash);
    item.remove(keys.range);
    if (Json::serialize(item).size() > Limits::ItemBytes)
        return "the item is larger than " + std::to_string(Limits::ItemBytes / 1024) +
               " KiB and could not be read back";
    return {};
}

QString keyText(const QVariantMap& item, const QString& name)
{
    return item.value(name).toMap().value("S").toString();
}

QVariantMap withKeys(QVariantMap attributes, const KeyNames& keys, const QString& hash, const QString& range)
{
    attributes.insert(keys.hash, Bodies::stringValue(hash));
    attributes.insert(keys.range, Bodies::stringValue(range));
    return attributes;
}

} // namespace Ctl

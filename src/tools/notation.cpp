#include "tools/notation.h"

#include "base/descriptor.h"
#include "base/fileio.h"
#include "protocol/limits.h"
#include "tools/typedvalues.h"
#include "json/jsonreader.h"

#include <QStringList>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>

#include <fcntl.h>

namespace Ctl {

namespace {

/** The position of an error for messages: counted from 1, with a line number if there are several lines. */
std::string placeOf(const QByteArray& text, qsizetype offset)
{
    const QByteArray before = text.left(offset);
    const qsizetype lineStart = before.lastIndexOf('\n') + 1;
    const auto character = QString::fromUtf8(before.mid(lineStart)).size() + 1;
    const std::string place = "character " + std::to_string(character);
    return text.trimmed().contains('\n') ? "line " + std::to_string(before.count('\n') + 1) + ", " + place : place;
}

/**
 * The base64 of a file's bytes. A file that is too large for any item that the server can read back is not read to its
 * end.
 */
std::string readBinary(const QString& path, QString* base64)
{
    constexpr std::size_t Most = Limits::ItemBytes;
    const std::string name = path.toStdString();
    const Base::Descriptor file(::open(name.c_str(), O_RDONLY | O_CLOEXEC));
    std::string bytes;
    const int error = file.isOpen() ? Base::readAll(file.number(), Most + 1, &bytes) : errno;
    if (error != 0)
        return "cannot read " + name + ": " + std::strerror(error);
    if (bytes.size() > Most)
        return name + " has more than " + std::to_string(Most / 1024) + " KiB, which no item can have";
    *base64 = QString::fromLatin1(QByteArray::fromStdString(bytes).toBase64());
    return {};
}

std::string addAttributes(const QVariantMap& more, QVariantMap* attributes)
{
    for (auto attribute = more.begin(); attribute != more.end(); ++attribute) {
        if (attributes->contains(attribute.key()))
            return "attribute " + quoted(attribute.key()) + " is given twice";
        attributes->insert(attribute.key(), attribute.value());
    }
    return {};
}

} // namespace

std::string parseValue(const QString& text, QVariantMap* value)
{
    if (text.startsWith('{')) {
        QVariantMap typed;
        if (auto error = parseObject(text.toUtf8(), "the value", &typed); !error.empty())
            return error;
        *value = typed;
        return checkValue(typed);
    }
    const qsizetype colon = text.indexOf(':');
    const QString type = text.left(std::max<qsizetype>(colon, 0));
    if (!isType(type))
        return hasNoType(text);
    const QString content = text.mid(colon + 1);
    if (type == u"B" && content.startsWith(u'@')) {
        QString base64;
        if (auto error = readBinary(content.mid(1), &base64); !error.empty())
            return error;
        *value = {{type, base64}};
        return {};
    }
    if (!isSetType(type))
        *value = {{type, content}};
    else if (content.isEmpty())
        *value = {{type, QVariantList()}};
    else {
        QVariantList elements;
        for (const QString& element : content.split(','))
            elements.append(element);
        *value = {{type, elements}};
    }
    return checkValue(*value);
}

std::string parseAttributes(const std::vector<std::string>& words, QVariantMap* attributes)
{
    for (const std::string& word : words) {
        QVariantMap more;
        if (word.starts_with('{')) {
            if (auto error = parseObject(QByteArray::fromStdString(word), quoted(QString::fromStdString(word)), &more);
                !error.empty())
                return error;
            if (auto error = checkTypes(more); !error.empty())
                return error;
        } else {
            QString text;
            if (auto error = decodeWord(word, "an attribute", &text); !error.empty())
                return error;
            const qsizetype equals = text.indexOf('=');
            if (equals < 1)
                return quoted(text) + " is not an attribute; write NAME=VALUE, such as total=N:17";
            QVariantMap value;
            if (auto error = parseValue(text.mid(equals + 1), &value); !error.empty())
                return "attribute " + quoted(text.left(equals)) + ": " + error;
            more.insert(text.left(equals), value);
        }
        if (auto error = addAttributes(more, attributes); !error.empty())
            return error;
    }
    return {};
}

std::string parseObject(const QByteArray& text, const std::string& what, QVariantMap* object)
{
    QVariant parsed;
    Json::ParseError error;
    if (!Json::parse(text, &parsed, &error))
        return what + " is not valid JSON, at " + placeOf(text, error.offset) + ": " + error.reason.toStdString();
    if (parsed.typeId() != QMetaType::QVariantMap)
        return what + " is not a JSON object, {...}";
    *object = parsed.toMap();
    return {};
}

std::string decodeWord(const std::string& word, const std::string& what, QString* text)
{
    if (!QByteArray::fromStdString(word).isValidUtf8())
        return what + " is not UTF-8";
    *text = QString::fromStdString(word);
    return {};
}

std::string decodeKey(const std::string& word, const std::string& what, QString* key)
{
    if (auto error = decodeWord(word, what, key); !error.empty())
        return error;
    return checkKey(*key, what);
}

std::string checkKey(const QString& key, const std::string& what)
{
    constexpr char16_t LargestLatin1 = 0xff;
    for (const QChar character : key) {
        if (character.unicode() > LargestLatin1)
            return what + " has a character outside Latin-1: " + quoted(key);
    }
    return {};
}

} // namespace Ctl

#include "tools/notation.h"

#include "json/jsonadapter.h"

#include <QRegularExpression>
#include <QStringList>

#include <algorithm>

namespace Ctl {

namespace {

const char* const ValueForms =
    R"(write S:text, N:17, B:YWI= (base64), SS:a,b, NS:1,2, BS:YQ==,Yg== or JSON such as {"S": "text"})";

bool isSet(const QString& type)
{
    return type.size() == 2;
}

bool isType(const QString& name)
{
    static const QStringList types{"S", "N", "B", "SS", "NS", "BS"};
    return types.contains(name);
}

bool isNumber(const QString& text)
{
    static const QRegularExpression decimal(R"(\A[-+]?[0-9]+(\.[0-9]+)?([eE][-+]?[0-9]+)?\z)");
    return decimal.match(text).hasMatch();
}

bool isBase64(const QString& text)
{
    const qsizetype end = text.size() - (text.endsWith(u"==") ? 2 : text.endsWith(u'=') ? 1 : 0);
    return text.size() % 4 == 0 && std::all_of(text.begin(), text.begin() + end, [](QChar c) {
               return (c >= u'A' && c <= u'Z') || (c >= u'a' && c <= u'z') || (c >= u'0' && c <= u'9') || c == u'+' ||
                      c == u'/';
           });
}

/** A piece of a text that is shown in a message. */
std::string quoted(QString text)
{
    constexpr int Shown = 60;
    if (text.size() > Shown)
        text = text.left(Shown) + "...";
    return '"' + text.toStdString() + '"';
}

std::string checkElement(const QString& type, const QVariant& element)
{
    if (element.typeId() != QMetaType::QString)
        return "a value of type " + type.toStdString() + (isSet(type) ? " is a list of strings" : " is a string");
    if (type.startsWith('N') && !isNumber(element.toString()))
        return quoted(element.toString()) + " is no number";
    if (type.startsWith('B') && !isBase64(element.toString()))
        return quoted(element.toString()) + " is no base64";
    return {};
}

std::string checkValue(const QVariant& value)
{
    const QVariantMap typed = value.toMap();
    if (typed.size() != 1 || !isType(typed.firstKey()))
        return quoted(QString::fromUtf8(Json::serialize(value))) + " has no type; " + ValueForms;
    const QString& type = typed.firstKey();
    const QVariant& content = typed.first();
    if (isSet(type) != (content.typeId() == QMetaType::QVariantList))
        return checkElement(type, {});
    const QVariantList elements = isSet(type) ? content.toList() : QVariantList{content};
    for (const QVariant& element : elements) {
        if (auto error = checkElement(type, element); !error.empty())
            return error;
    }
    return {};
}

/** Where a text is wrong, as people count: from 1, and with a line when there are several. */
std::string placeOf(const QByteArray& text, qsizetype offset)
{
    const QByteArray before = text.left(offset);
    const qsizetype lineStart = before.lastIndexOf('\n') + 1;
    const auto character = QString::fromUtf8(before.mid(lineStart)).size() + 1;
    const std::string place = "character " + std::to_string(character);
    return text.trimmed().contains('\n') ? "line " + std::to_string(before.count('\n') + 1) + ", " + place : place;
}

std::string addAttributes(const QVariantMap& more, QVariantMap* attributes)
{
    for (auto attribute = more.begin(); attribute != more.end(); ++attribute) {
        if (attributes->contains(attribute.key()))
            return "attribute " + quoted(attribute.key()) + " is there twice";
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
        return quoted(text) + " has no type; " + ValueForms;
    const QString content = text.mid(colon + 1);
    if (!isSet(type))
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
                return quoted(text) + " is no attribute; write NAME=VALUE, such as total=N:17";
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
        return what + " is no JSON, at " + placeOf(text, error.offset) + ": " + error.reason.toStdString();
    if (parsed.typeId() != QMetaType::QVariantMap)
        return what + " is no JSON object, {...}";
    *object = parsed.toMap();
    return {};
}

std::string checkTypes(const QVariantMap& attributes)
{
    for (auto attribute = attributes.begin(); attribute != attributes.end(); ++attribute) {
        if (auto error = checkValue(attribute.value()); !error.empty())
            return "attribute " + quoted(attribute.key()) + ": " + error;
    }
    return {};
}

std::string checkBinary(const QVariantMap& attributes)
{
    for (auto attribute = attributes.begin(); attribute != attributes.end(); ++attribute) {
        const QVariantMap typed = attribute->toMap();
        QVariantList elements = typed.value("BS").toList();
        if (typed.contains("B"))
            elements.append(typed.value("B"));
        for (const QVariant& element : elements) {
            if (element.typeId() == QMetaType::QString && !isBase64(element.toString()))
                return "attribute " + quoted(attribute.key()) + ": " + quoted(element.toString()) + " is no base64";
        }
    }
    return {};
}

std::string checkInteger(const QString& name, const QVariantMap& value)
{
    bool isInteger = false;
    if (value.contains("N"))
        (void)value.value("N").toString().toLongLong(&isInteger);
    if (isInteger || !value.contains("N"))
        return {};
    return quoted(value.value("N").toString()) + " of " + quoted(name) +
           " is no 64-bit integer, and the server would take it for 0";
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
            return what + " holds a character outside Latin-1: " + quoted(key);
    }
    return {};
}

} // namespace Ctl

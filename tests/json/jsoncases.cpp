#include "jsoncases.h"

#include "json/jsonreader.h"

#include <QVariantList>
#include <QVariantMap>

#include <cstdio>
#include <memory>

namespace JsonCases {

using namespace std::string_literals;

std::string readable(std::string_view text)
{
    std::string result;
    for (const char c : text.substr(0, 200)) {
        if (c >= ' ' && c <= '~') {
            result += c;
        } else {
            char code[8];
            std::snprintf(code, sizeof code, "<%02x>", static_cast<unsigned>(static_cast<unsigned char>(c)));
            result += code;
        }
    }
    return text.size() > 200 ? result + "..." : result;
}

std::string quoted(const QString& text)
{
    std::string result = "\"";
    for (const QChar c : text) {
        if (c.unicode() >= ' ' && c.unicode() <= '~') {
            result += static_cast<char>(c.unicode());
        } else {
            char code[8];
            std::snprintf(code, sizeof code, "<%04x>", static_cast<unsigned>(c.unicode()));
            result += code;
        }
    }
    return result + '"';
}

std::string describe(const QVariant& value)
{
    char text[64];
    switch (value.typeId()) {
    case QMetaType::UnknownType:
        return "null";
    case QMetaType::Bool:
        return value.toBool() ? "true" : "false";
    case QMetaType::LongLong:
        return "i" + std::to_string(value.toLongLong());
    case QMetaType::ULongLong:
        return "u" + std::to_string(value.toULongLong());
    case QMetaType::Double:
        std::snprintf(text, sizeof text, "d%.17g", value.toDouble());
        return text;
    case QMetaType::QString:
        return quoted(value.toString());
    case QMetaType::QVariantList: {
        std::string elements;
        const QVariantList list = value.toList();
        for (const QVariant& element : list)
            elements += (elements.empty() ? "" : ",") + describe(element);
        return "[" + elements + "]";
    }
    case QMetaType::QVariantMap: {
        std::string members;
        const QVariantMap map = value.toMap();
        for (auto member = map.cbegin(); member != map.cend(); ++member)
            members += (members.empty() ? "" : ",") + quoted(member.key()) + ":" + describe(member.value());
        return "{" + members + "}";
    }
    default:
        return "unexpected "s + value.typeName();
    }
}

QByteArray bytes(std::string_view text)
{
    return QByteArray(text.data(), static_cast<qsizetype>(text.size()));
}

std::string parsed(std::string_view text)
{
    const std::unique_ptr<char[]> exact(new char[text.size()]);
    text.copy(exact.get(), text.size());
    QVariant value("as it was");
    if (!Json::parse(QByteArray::fromRawData(exact.get(), static_cast<qsizetype>(text.size())), &value))
        return describe(value) == "\"as it was\"" ? "error" : "error that changed the value";
    return describe(value);
}

std::string repeated(std::string_view text, int times)
{
    std::string result;
    for (int i = 0; i < times; ++i)
        result += text;
    return result;
}

std::string nested(std::string_view open, std::string_view inner, std::string_view close, int depth)
{
    return repeated(open, depth).append(inner) + repeated(close, depth);
}

} // namespace JsonCases

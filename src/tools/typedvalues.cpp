#include "tools/typedvalues.h"

#include "json/jsonwriter.h"

#include <QRegularExpression>
#include <QStringList>

#include <algorithm>

namespace Ctl {

namespace {

const char* const ValueForms =
    R"(write S:text, N:17, B:YWI= (base64), SS:a,b, NS:1,2, BS:YQ==,Yg== or JSON such as {"S": "text"})";

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

std::string checkElement(const QString& type, const QVariant& element)
{
    if (element.typeId() != QMetaType::QString)
        return "a value of type " + type.toStdString() +
               (isSetType(type) ? " must be a list of strings" : " must be a string");
    if (type.startsWith('N') && !isNumber(element.toString()))
        return quoted(element.toString()) + " is not a number";
    if (type.startsWith('B') && !isBase64(element.toString()))
        return quoted(element.toString()) + " is not base64";
    return {};
}

} // namespace

bool isType(const QString& name)
{
    static const QStringList types{"S", "N", "B", "SS", "NS", "BS"};
    return types.contains(name);
}

bool isSetType(const QString& type)
{
    return type.size() == 2;
}

std::string checkValue(const QVariant& value)
{
    const QVariantMap typed = value.toMap();
    if (typed.size() != 1 || !isType(typed.firstKey()))
        return hasNoType(QString::fromUtf8(Json::serialize(value)));
    const QString& type = typed.firstKey();
    const QVariant& content = typed.first();
    if (isSetType(type) != (content.typeId() == QMetaType::QVariantList))
        return checkElement(type, {});
    const QVariantList elements = isSetType(type) ? content.toList() : QVariantList{content};
    for (const QVariant& element : elements) {
        if (auto error = checkElement(type, element); !error.empty())
            return error;
    }
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
                return "attribute " + quoted(attribute.key()) + ": " + quoted(element.toString()) + " is not base64";
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
           " is not a 64-bit integer; the server would treat it as 0";
}

std::string hasNoType(const QString& text)
{
    return quoted(text) + " has no type; " + ValueForms;
}

std::string quoted(QString text)
{
    constexpr int Shown = 60;
    if (text.size() > Shown)
        text = text.left(Shown) + "...";
    return '"' + text.toStdString() + '"';
}

} // namespace Ctl

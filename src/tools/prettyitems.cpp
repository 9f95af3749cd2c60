#include "tools/prettyitems.h"

#include "tools/exitcode.h"
#include "tools/messages.h"
#include "tools/terminaltext.h"
#include "json/jsonwriter.h"

namespace Ctl {

namespace {

/** The JSON of a value with spaces after colons and commas, and with control characters escaped. */
QString spaced(const QVariant& value)
{
    QString text;
    bool inString = false;
    bool escapes = false;
    for (const QChar character : QString::fromUtf8(Json::serialize(value))) {
        if (inString && TerminalText::isControl(character))
            text += TerminalText::escape(character);
        else
            text += character;
        if (!inString && (character == u':' || character == u','))
            text += u' ';
        if (character == u'"' && !escapes)
            inString = !inString;
        escapes = inString && character == u'\\' && !escapes;
    }
    return text;
}

} // namespace

int PrettyItems::print(const QVariantMap& item)
{
    return printText(textOf(item, first_));
}

int PrettyItems::end()
{
    return ExitOk;
}

QByteArray PrettyItems::textOf(const QVariantMap& item, const QStringList& first)
{
    QString text;
    const auto add = [&](const QString& name) {
        text += (text.isEmpty() ? QStringLiteral("\n  ") : QStringLiteral(",\n  ")) + spaced(name) +
                QStringLiteral(": ") + spaced(item.value(name));
    };
    for (const QString& name : first) {
        if (item.contains(name))
            add(name);
    }
    for (auto attribute = item.begin(); attribute != item.end(); ++attribute) {
        if (!first.contains(attribute.key()))
            add(attribute.key());
    }
    return ('{' + text + (text.isEmpty() ? "}\n" : "\n}\n")).toUtf8();
}

} // namespace Ctl

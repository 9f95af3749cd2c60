#include "tools/terminaltext.h"

#include <QList>

#include <cstdio>
#include <cwchar>

#include <locale.h> // of POSIX: newlocale(). NOLINT(modernize-deprecated-headers)

namespace TerminalText {

namespace {

/** The columns of one character. The C library knows them for UTF-8 only, which the user's locale may not be. */
int columnsOf(char32_t character)
{
    static const locale_t utf8 = ::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    if (utf8 == nullptr)
        return 1;
    const locale_t before = ::uselocale(utf8);
    const int columns = ::wcwidth(static_cast<wchar_t>(character));
    ::uselocale(before);
    return columns < 0 ? 1 : columns;
}

} // namespace

bool isControl(QChar character)
{
    const char16_t code = character.unicode();
    return code < 0x20 || (code >= 0x7f && code < 0xa0) || code == 0x061c || code == 0x200e || code == 0x200f ||
           (code >= 0x2028 && code <= 0x202e) || (code >= 0x2066 && code <= 0x2069);
}

QString escape(QChar character)
{
    return QStringLiteral("\\u%1").arg(uint{character.unicode()}, 4, 16, QChar(u'0'));
}

QString escaped(const QString& text)
{
    QString shown;
    for (const QChar character : text) {
        if (character == u'\n')
            shown += u"\\n";
        else if (character == u'\r')
            shown += u"\\r";
        else if (character == u'\t')
            shown += u"\\t";
        else if (isControl(character))
            shown += escape(character);
        else
            shown += character;
    }
    return shown;
}

std::string printable(std::string_view text)
{
    if (QUtf8StringView(text.data(), static_cast<qsizetype>(text.size())).isValidUtf8())
        return printable(QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size())));
    std::string shown;
    for (const char byte : text) {
        char code[8];
        std::snprintf(code, sizeof code, "\\x%02x", static_cast<unsigned char>(byte));
        shown += static_cast<unsigned char>(byte) < 0x80 ? printable(QString(QLatin1Char(byte))) : code;
    }
    return shown;
}

std::string printable(const QString& text)
{
    return escaped(text).toStdString();
}

int width(const std::string& utf8)
{
    return width(QString::fromStdString(utf8));
}

int width(const QString& text)
{
    int columns = 0;
    for (const uint character : text.toUcs4())
        columns += columnsOf(character);
    return columns;
}

QString cut(const QString& text, int columns)
{
    if (width(text) <= columns)
        return text;
    QString shown;
    int taken = 1; // the ellipsis
    for (const uint character : text.toUcs4()) {
        taken += columnsOf(character);
        if (taken > columns)
            break;
        shown += QChar::fromUcs4(character);
    }
    return shown + u'\u2026';
}

} // namespace TerminalText

#ifndef QUORVA_TOOLS_TERMINALTEXT_H
#define QUORVA_TOOLS_TERMINALTEXT_H

#include <QByteArray>
#include <QString>

#include <string>
#include <string_view>

/** Makes untrusted text safe to show on a terminal. Pure, whatever the locale. */
namespace TerminalText {

/**
 * Whether a terminal would act on a character instead of showing it: control characters, and those that change the
 * direction of the text around them.
 */
bool isControl(QChar character);

/** "\u001b": a character as an escape of JSON. */
QString escape(QChar character);

/** The text with escapes in place of control characters: "\n", "\r", "\t", and JSON's for the others. */
QString escaped(const QString& text);

/**
 * The same for a name or a message, in UTF-8: it stays on one line. In text that is not UTF-8, as a file name may be,
 * all bytes above ASCII are escaped, as in "\xe4".
 */
std::string printable(std::string_view text);
std::string printable(const QString& text);

/** How many columns of a terminal the text takes; it has no control characters. */
int width(const QString& text);
int width(const std::string& utf8);

/** The text, or its beginning and an ellipsis if it takes more than `columns`. */
QString cut(const QString& text, int columns);

} // namespace TerminalText

#endif

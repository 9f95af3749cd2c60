#ifndef QUORVA_TOOLS_TERMINALTEXT_H
#define QUORVA_TOOLS_TERMINALTEXT_H

#include <QByteArray>
#include <QString>

/** Text from a table on its way to a terminal. Pure, whatever the locale. */
namespace TerminalText {

/**
 * Whether a terminal would obey a character instead of showing it: control characters, and those that change the
 * direction of the text around them.
 */
bool isControl(QChar character);

/** "\u001b": a character as an escape of JSON. */
QString escape(QChar character);

/** The text with escapes in place of control characters: "\n", "\r", "\t", and JSON's for the others. */
QString escaped(const QString& text);

/** How many columns of a terminal the text takes; it has no control characters. */
int width(const QString& text);

/** The text, or its beginning and an ellipsis when it takes more than `columns`. */
QString cut(const QString& text, int columns);

} // namespace TerminalText

#endif

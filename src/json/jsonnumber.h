#ifndef QUORVA_JSON_JSONNUMBER_H
#define QUORVA_JSON_JSONNUMBER_H

#include <QByteArray>
#include <QVariant>

#include <array>
#include <string_view>

/** JSON's numbers, which the JSON library neither reads nor writes in every case as we need them. Any thread. */
namespace Json {

/**
 * The value of a number whose grammar is right: qlonglong, qulonglong above its range, else double. Invalid when it is
 * too large for a double; one that is too small is zero.
 */
QVariant numberFromText(std::string_view number);

/** Memory for the text of a double, which has 26 characters at most. */
using DoubleText = std::array<char, 32>;

/** The shortest text, in `room`, that reads as `number`, which is finite, and as a double: "1.0" rather than "1". */
std::string_view shortestText(double number, DoubleText* room);

/**
 * Writes the doubles in a JSON text as short as they can be, with blanks behind them in place of what is left over. The
 * library refuses some that a double holds: zeros with a large exponent, and hundreds of digits that a negative
 * exponent takes back.
 */
void rewriteExtremeNumbers(QByteArray* text);

} // namespace Json

#endif

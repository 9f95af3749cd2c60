#ifndef QUORVA_JSON_JSONNUMBER_H
#define QUORVA_JSON_JSONNUMBER_H

#include <QByteArray>
#include <QVariant>

#include <string_view>

/** JSON's numbers, and what of them is too much for the JSON library. Any thread. */
namespace Json {

/**
 * The value of a number whose grammar is right: qlonglong, qulonglong above its range, else double. Invalid when it is
 * too large for a double; one that is too small is zero.
 */
QVariant numberFromText(std::string_view number);

/**
 * Writes the doubles in a JSON text as short as they can be, with blanks behind them in place of what is left over. The
 * library refuses some that a double holds: zeros with a large exponent, and hundreds of digits that a negative
 * exponent takes back.
 */
void rewriteExtremeNumbers(QByteArray* text);

} // namespace Json

#endif

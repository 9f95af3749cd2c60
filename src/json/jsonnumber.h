#ifndef QUORVA_JSON_JSONNUMBER_H
#define QUORVA_JSON_JSONNUMBER_H

#include <QByteArray>
#include <QVariant>

#include <array>
#include <string_view>

/** Reading and writing numbers, where the JSON library is not exact enough. Any thread. */
namespace Json {

/**
 * The value of a number that matches JSON's grammar: qlonglong, qulonglong above its range, otherwise double. Invalid
 * when it is too large for a double; a number that is too small is zero.
 */
QVariant numberFromText(std::string_view number);

/** Buffer for the text of a double, at most 26 characters. */
using DoubleText = std::array<char, 32>;

/**
 * The shortest text that reads back as the same double, and as a double rather than an integer: "1.0", not "1". The
 * number is finite; the result points into `buffer`.
 */
std::string_view shortestText(double number, DoubleText* buffer);

/**
 * Rewrites the doubles in a JSON text in place in their shortest form, padded with spaces. The library rejects some
 * that fit into a double: zeros with a large exponent, and hundreds of digits with an exponent that compensates for
 * them.
 */
void rewriteExtremeNumbers(QByteArray* text);

} // namespace Json

#endif

#ifndef QUORVA_TESTS_JSON_JSONCASES_H
#define QUORVA_TESTS_JSON_JSONCASES_H

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <string>
#include <string_view>
#include <vector>

/** JSON texts, what they read as, and trees in a form that tests compare and print. */
namespace JsonCases {

/** Printable, so that a failing row can be read: bytes that are not ASCII as <e9>, long texts cut. */
std::string readable(std::string_view text);

/** In quotes, with characters that are not printable ASCII as <00e9>. */
std::string quoted(const QString& text);

/**
 * A tree with the exact types of its values, which the comparison of variants would not tell apart: i1 is a qlonglong,
 * u1 a qulonglong, d1.0 a double ("d-0" negative zero).
 */
std::string describe(const QVariant& value);

/**
 * What `text` reads as; "error" when it is refused. It is parsed from memory that ends with its last byte, where the
 * sanitizers see a step too far. A failed parse must leave the value alone.
 */
std::string parsed(std::string_view text);

QByteArray bytes(std::string_view text);
std::string repeated(std::string_view text, int times);
std::string nested(std::string_view open, std::string_view inner, std::string_view close, int depth);

struct Case {
    std::string text;
    std::string tree; // as `describe` gives it
};

/** Texts of all kinds of values. */
const std::vector<Case>& validTexts();

/** Numbers up to the limits of the types, and what lies near them. */
const std::vector<Case>& numbers();

} // namespace JsonCases

#endif

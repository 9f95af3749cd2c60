#ifndef QUORVA_TESTS_JSON_JSONCASES_H
#define QUORVA_TESTS_JSON_JSONCASES_H

#include <QByteArray>
#include <QString>
#include <QVariant>

#include <string>
#include <string_view>
#include <vector>

/** JSON texts, the trees that they parse to, and a form of trees that tests compare and print. */
namespace JsonCases {

/** A printable form for failure messages: bytes that are not printable ASCII as <e9>, long texts cut. */
std::string readable(std::string_view text);

/** In quotes, with characters that are not printable ASCII as <00e9>. */
std::string quoted(const QString& text);

/**
 * A tree with the exact types of its values, which comparing variants would not distinguish: i1 is a qlonglong, u1 a
 * qulonglong, d1.5 a double ("d-0" is negative zero).
 */
std::string describe(const QVariant& value);

/**
 * The tree that `text` parses to; "error" when it is refused. It is parsed from memory that ends with its last byte, so
 * that the sanitizers detect reads past the end. A failed parse must not change the value.
 */
std::string parsed(std::string_view text);

QByteArray bytes(std::string_view text);
std::string repeated(std::string_view text, int times);
std::string nested(std::string_view open, std::string_view inner, std::string_view close, int depth);

struct Case {
    std::string text;
    std::string tree; // as `describe` gives it
};

/** Texts with all kinds of values. */
const std::vector<Case>& validTexts();

/** Numbers up to the limits of the types, and close to them. */
const std::vector<Case>& numbers();

} // namespace JsonCases

#endif

#ifndef QUORVA_JSON_JSONADAPTER_H
#define QUORVA_JSON_JSONADAPTER_H

#include <QByteArray>
#include <QVariant>

/**
 * JSON text to variant trees and back. Any thread may call it. Nothing outside of this folder knows which JSON library
 * is used.
 *
 * Parsed trees are made of QVariantMap, QVariantList, QString, qlonglong, qulonglong (only above the signed range),
 * double (numbers with a fraction or an exponent, and integers beyond 64 bits), bool and, for null, the invalid
 * variant. Strings keep every character, U+0000 included.
 */
namespace Json {

/**
 * Containers may be nested this deep; deeper text is an error. Writing and destroying a tree recurse, and this depth
 * takes about 250 KiB of stack, which a pool thread has many times over.
 */
inline constexpr int MaxDepth = 1000;

/**
 * Parses one JSON text (any value at the top level, white space around it) into `value`. False when the text is not
 * JSON, holds anything after the value (a zero byte included), is not UTF-8, escapes half of a surrogate pair, is
 * nested too deep, or holds a number too large for a double; `value` is then not changed. A number too small for a
 * double reads as zero. The last of two equal names wins.
 */
[[nodiscard]] bool parse(const QByteArray& text, QVariant* value);

/** Where and why a text is no JSON, for people. */
struct ParseError {
    qsizetype offset = 0; // bytes from the beginning of the text; of a string that is wrong, its first character
    QByteArray reason;    // without a full stop
};

/** The same, with `error` set when it fails. */
[[nodiscard]] bool parse(const QByteArray& text, QVariant* value, ParseError* error);

/**
 * Appends the JSON text of `value`, which has no white space, to `out`, so that a caller can leave room for what goes
 * in front. Maps come out in key order. A byte array is written as Latin-1 text that ends before its first zero byte. A
 * double always comes out as one that `parse` reads as a double; infinity and NaN, which JSON lacks, become null, half
 * of a surrogate pair becomes U+FFFD. Integers of all sizes, string lists and hashes are written as well, RawText and
 * RawElements as they stand; a variant of any other type as the string it converts to, or as null.
 */
void append(const QVariant& value, QByteArray* out);

/** The same as a text of its own. */
[[nodiscard]] QByteArray serialize(const QVariant& value);

} // namespace Json

#endif

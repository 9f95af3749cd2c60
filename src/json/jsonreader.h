#ifndef QUORVA_JSON_JSONREADER_H
#define QUORVA_JSON_JSONREADER_H

#include <QByteArray>
#include <QVariant>

/**
 * JSON text to variant trees. Any thread.
 *
 * Trees are made of QVariantMap, QVariantList, QString, qlonglong, qulonglong (only above the signed range), double
 * (numbers with a fraction or an exponent, and integers beyond 64 bits), bool and, for null, the invalid variant.
 * Strings keep every character, U+0000 included.
 */
namespace Json {

/**
 * The nesting limit for containers; deeper text is an error. Writing and destroying a tree recurse, and this depth
 * takes about 250 KiB of stack, a small part of what a pool thread has.
 */
inline constexpr int MaxDepth = 1000;

/** Where and why a text is not JSON, for people. */
struct ParseError {
    qsizetype offset = 0; // bytes from the start of the text; for an invalid string, of its first character
    QByteArray reason;    // without a full stop
};

/**
 * Parses one JSON text (any value at the top level, white space around it) into `value`. False, with `error` set unless
 * it is null, if the text is not JSON, has anything after the value (including a zero byte), is not UTF-8, escapes half
 * of a surrogate pair, is nested too deep, or contains a number too large for a double; `value` is then unchanged. A
 * number too small for a double reads as zero. The last of two equal names wins.
 */
[[nodiscard]] bool parse(const QByteArray& text, QVariant* value, ParseError* error = nullptr);

} // namespace Json

#endif

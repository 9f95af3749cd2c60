#ifndef QUORVA_JSON_JSONWRITER_H
#define QUORVA_JSON_JSONWRITER_H

#include <QByteArray>
#include <QVariant>

/** Variant trees to JSON text. Any thread. For text made of pieces that are JSON already see jsontext.h. */
namespace Json {

/**
 * Appends the JSON text of `value`, which has no white space, to `out`, so that a caller can leave room for what goes
 * in front.
 *
 * Maps are written in key order, hashes as well. A byte array is written as Latin-1 text that ends before its first
 * zero byte. The text of a double always reads back as a double; infinity and NaN, which JSON lacks, become null, half
 * of a surrogate pair becomes U+FFFD. Integers of all sizes and string lists are written as what they are, RawText and
 * RawElements as their text; a variant of any other type as the string it converts to, or as null.
 */
void append(const QVariant& value, QByteArray* out);

/** The same as a text of its own. */
[[nodiscard]] QByteArray serialize(const QVariant& value);

} // namespace Json

#endif

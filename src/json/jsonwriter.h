#ifndef QUORVA_JSON_JSONWRITER_H
#define QUORVA_JSON_JSONWRITER_H

#include <QByteArray>
#include <QVariant>

/** Variant trees to JSON text. Any thread. For text made of pieces that are already JSON see jsontext.h. */
namespace Json {

/**
 * Appends the JSON text of `value`, without white space, to `out`, which may already contain a prefix.
 *
 * Maps are written in key order, hashes as well. A byte array is written as Latin-1 text that ends before its first
 * zero byte. The text of a double always reads back as a double; infinity and NaN, which JSON lacks, become null, a
 * lone surrogate becomes U+FFFD. Integers of all sizes and string lists are written as such, RawText and RawElements as
 * their text; a variant of any other type as the string it converts to, or as null.
 */
void append(const QVariant& value, QByteArray* out);

/** The same, as a separate text. */
[[nodiscard]] QByteArray serialize(const QVariant& value);

} // namespace Json

#endif

#ifndef QUORVA_ITEMS_KEYCODEC_H
#define QUORVA_ITEMS_KEYCODEC_H

#include "items/attributevalue.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace Items {

/**
 * How the values of a key attribute become the bytes of the server's hash and range keys. The order of the bytes is the
 * order of the values, and decode(encode(value)) is the value. The bytes are stored: do not change them. Their grammar
 * is in docs/storage-format.md.
 *
 * The server takes a key as JSON text, a string of the characters U+0000 to U+00FF, one for each byte (see jsonText()).
 * Some bytes it cannot give back or does not find when it walks down, so none of them is ever used: 00, and FE and FF
 * at the beginning.
 */
namespace KeyCodec {

/** The forms. Latin1 is that of tables made through the API of 2011-12-05: strings whose characters are the bytes. */
enum class Form { String, Number, Binary, Latin1 };

inline constexpr std::size_t MostHashBytes = 2048; // of a value as the API counts it
inline constexpr std::size_t MostRangeBytes = 1024;

/** The range key of every item in a table that has a hash key alone. */
inline constexpr std::string_view NoRange = "-";

/** The type of a key attribute's values. */
AttributeValue::Type typeOf(Form form);

/**
 * The bytes of a key. Empty when the value is of another type, is empty, or has a character that Latin1 lacks. Sizes
 * are not checked.
 */
std::optional<std::string> encode(Form form, const AttributeValue& value);

/**
 * The bytes with which the keys begin that begin with `prefix`, a string or binary. Empty as for encode(), and for
 * numbers; an empty prefix is allowed.
 */
std::optional<std::string> encodePrefix(Form form, const AttributeValue& prefix);

/** The value of a key. Empty for bytes that encode() never gives. */
std::optional<AttributeValue> decode(Form form, std::string_view bytes);

/** The UTF-8 text whose characters are the bytes, for {"S": ...} in the server's JSON. */
std::string jsonText(std::string_view bytes);
/** The reverse. Empty when the text is not UTF-8 or has a character above U+00FF. */
std::optional<std::string> bytesOfJsonText(std::string_view utf8);

} // namespace KeyCodec

} // namespace Items

#endif

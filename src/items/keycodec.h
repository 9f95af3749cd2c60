#ifndef QUORVA_ITEMS_KEYCODEC_H
#define QUORVA_ITEMS_KEYCODEC_H

#include "items/attributevalue.h"

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

/**
 * Encodes the values of a key attribute as the bytes of the server's hash and range keys. The bytes compare as the
 * values do, and decode(encode(value)) is the value. The bytes are stored: do not change them. Their grammar is in
 * docs/storage-format.md.
 *
 * The server takes a key as JSON text, a string of the characters U+0000 to U+00FF, one for each byte (see jsonText()).
 * It returns keys only up to a byte 00, its descending walks begin below FF, and no walk reads a record key of more
 * than 4096 bytes. So no key has a byte 00 or begins with FF, and the longest keys are 2561 and 1281 bytes.
 */
namespace Items::KeyCodec {

/** Latin1: tables created through the API of 2011-12-05, whose keys are strings with a character for each byte. */
enum class Form { String, Number, Binary, Latin1 };

inline constexpr std::size_t MostHashBytes = 2048; // of a value as the API counts it
inline constexpr std::size_t MostRangeBytes = 1024;

/** The name and value of the range key in a table with only a hash key. No attribute of the API has that name. */
inline constexpr std::string_view NoRangeName = ""; // not null. NOLINT(readability-redundant-string-init)
inline constexpr std::string_view NoRange = "-";

/** The type of a key attribute's values. */
AttributeValue::Type typeOf(Form form);

/**
 * The bytes of a key. Empty when the value is of another type, or is an empty string or binary, or when Latin1 cannot
 * hold it: characters above U+00FF and U+0000. Sizes are not checked.
 */
std::optional<std::string> encode(Form form, const AttributeValue& value);

/** The value of a key. Empty for bytes that encode() never makes; Latin1 has a value for all bytes. */
std::optional<AttributeValue> decode(Form form, std::string_view bytes);

/** Two bounds, both inclusive. No key equals `high`, except possibly a Latin1 key of more than MostHashBytes. */
struct Bounds {
    std::string low;
    std::string high;
};

/**
 * The bounds of the keys that begin with `prefix`, a string or binary. Empty when encode() is, and
 * for numbers; but an empty prefix has bounds, which enclose all keys.
 */
std::optional<Bounds> prefixBounds(Form form, const AttributeValue& prefix);

/** The UTF-8 text whose characters are the bytes, for {"S": ...} in the server's JSON. */
std::string jsonText(std::string_view bytes);
/** The reverse. Empty when the text is not UTF-8 or has a character above U+00FF. */
std::optional<std::string> bytesOfJsonText(std::string_view utf8);

} // namespace Items::KeyCodec

#endif

#ifndef QUORVA_ITEMS_ITEMJSON_H
#define QUORVA_ITEMS_ITEMJSON_H

#include "items/attributevalue.h"
#include "items/json.h"
#include "items/jsonwriter.h"

#include <string>
#include <string_view>

/** Values and items as the API writes them in JSON: {"total": {"N": "17"}}. Pure; any thread. */
namespace Items {

/** What is wrong with a value, in the API's words, and which of its two exceptions says so. */
struct JsonError {
    enum class Kind {
        Serialization, // SerializationException: not the JSON type that the API's model says
        Validation,    // ValidationException: the right JSON types, but not a valid value
    };
    Kind kind = Kind::Validation;
    std::string message;
};

/**
 * Reads {"N": "17"} and the like. Members that are null count as missing; those that name no type are ignored.
 * False, with `error` set, when the value is not exactly one of the ten types, a number or base64 is malformed, a set
 * is empty or repeats an element, or maps and lists are nested deeper than MostLevels; `value` is then unspecified.
 *
 * The document must have been checked to be UTF-8, by the parser or before. The parser must also limit
 * the depth, or be the iterative one; reading values recurses no deeper than MostLevels.
 */
[[nodiscard]] bool readValue(const JsonValue& json, AttributeValue* value, JsonError* error);

/**
 * Reads an object of such values; of two with the same name, the last one. An empty name is refused: only the keys of
 * tables without a range key have it (KeyCodec::NoRangeName). Sizes are not checked.
 */
[[nodiscard]] bool readItem(const JsonValue& json, Item* item, JsonError* error);

/**
 * Writes canonical JSON: no white space, members and elements of sets in order, numbers as
 * Decimal::Number::text(). Equal values have equal texts.
 */
void writeValue(const AttributeValue& value, JsonWriter* writer);
void writeItem(const Item& item, JsonWriter* writer);

/** What writeItem() writes. */
std::string jsonOf(const Item& item);

} // namespace Items

#endif

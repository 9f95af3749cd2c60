#ifndef QUORVA_ITEMS_JSONELEMENTS_H
#define QUORVA_ITEMS_JSONELEMENTS_H

#include "decimal/number.h"
#include "items/attributevalue.h"
#include "items/itemjson.h"
#include "items/json.h"

#include <string>
#include <string_view>

/**
 * The elements of values in JSON: strings, numbers, binaries, and sets of them; and the API's messages for what is
 * wrong with them. The functions return false, with `error` set, for JSON of another kind. Pure; any thread.
 */
namespace Items::JsonElements {

/** Always false: a ValidationException with this message. */
bool invalid(JsonError* error, std::string_view message);
/** The same, with the words with which the API begins most reasons. */
bool invalidParameter(JsonError* error, const std::string& reason);
/** Always false: `json` is of another JSON type than `expected`, which is a name of the API's model. */
bool wrongType(JsonError* error, const JsonValue& json, const std::string& expected);

std::string_view textOf(const JsonValue& string);

[[nodiscard]] bool readString(const JsonValue& json, std::string* text, JsonError* error);
[[nodiscard]] bool readNumber(const JsonValue& json, Decimal::Number* number, JsonError* error);
[[nodiscard]] bool readBinary(const JsonValue& json, Binary* binary, JsonError* error);
[[nodiscard]] bool readBool(const JsonValue& json, bool* value, JsonError* error);

/** A set has at least one element, and no two equal ones. */
[[nodiscard]] bool readSet(const JsonValue& json, AttributeValue::StringSet* set, JsonError* error);
[[nodiscard]] bool readSet(const JsonValue& json, AttributeValue::NumberSet* set, JsonError* error);
[[nodiscard]] bool readSet(const JsonValue& json, AttributeValue::BinarySet* set, JsonError* error);

} // namespace Items::JsonElements

#endif

#ifndef QUORVA_ITEMS_JSONELEMENTS_H
#define QUORVA_ITEMS_JSONELEMENTS_H

#include "decimal/number.h"
#include "items/attributevalue.h"
#include "items/itemjson.h"

#include <rapidjson/document.h>

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
bool wrongType(JsonError* error, const rapidjson::Value& json, const std::string& expected);

std::string_view textOf(const rapidjson::Value& string);

[[nodiscard]] bool readString(const rapidjson::Value& json, std::string* text, JsonError* error);
[[nodiscard]] bool readNumber(const rapidjson::Value& json, Decimal::Number* number, JsonError* error);
[[nodiscard]] bool readBinary(const rapidjson::Value& json, Binary* binary, JsonError* error);
[[nodiscard]] bool readBool(const rapidjson::Value& json, bool* value, JsonError* error);

/** A set has at least one element, and no two equal ones. */
[[nodiscard]] bool readSet(const rapidjson::Value& json, AttributeValue::StringSet* set, JsonError* error);
[[nodiscard]] bool readSet(const rapidjson::Value& json, AttributeValue::NumberSet* set, JsonError* error);
[[nodiscard]] bool readSet(const rapidjson::Value& json, AttributeValue::BinarySet* set, JsonError* error);

} // namespace Items::JsonElements

#endif

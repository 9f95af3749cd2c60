#include "items/jsonelements.h"

#include "items/base64.h"

#include <utility>

namespace Items {

using JsonElements::invalid;
using JsonElements::textOf;
using JsonElements::wrongType;

namespace {

using Json = JsonValue;

bool fail(JsonError* error, JsonError::Kind kind, std::string message)
{
    *error = {kind, std::move(message)};
    return false;
}

/** The elements of a set as they are given, for the API's messages: "[a, b]". */
std::string listed(const Json& array)
{
    std::string list;
    for (const Json& element : array.GetArray())
        list.append(", ").append(textOf(element));
    return "[" + list.substr(2) + "]";
}

/** Reads the elements of a set, of which there must be some and no two alike. The messages are those of the set's type.
 */
struct SetTexts {
    std::string_view empty;
    std::string_view elementNull;
    std::string (*duplicates)(const Json& array);
};

template <typename Set, typename Read>
bool readElements(const Json& json, const SetTexts& texts, const Read& read, Set* set, JsonError* error)
{
    if (!json.IsArray())
        return wrongType(error, json, "List");
    if (json.Empty())
        return invalid(error, texts.empty);
    for (const Json& element : json.GetArray()) {
        typename Set::value_type value;
        if (element.IsNull())
            return invalid(error, texts.elementNull);
        if (!read(element, &value, error))
            return false;
        set->insert(std::move(value));
    }
    if (set->size() < json.Size())
        return invalid(error, texts.duplicates(json));
    return true;
}

const SetTexts StringSetTexts = {
    "One or more parameter values were invalid: An string set  may not be empty",
    "One or more parameter values were invalid: An string set may not have a null string as a member",
    [](const Json& array) {
        return "One or more parameter values were invalid: Input collection " + listed(array) + " contains duplicates.";
    }};
const SetTexts NumberSetTexts = {
    "One or more parameter values were invalid: An number set  may not be empty",
    "One or more parameter values were invalid: An number set may not have a null string as a member",
    [](const Json&) { return std::string("Input collection contains duplicates"); }};
const SetTexts BinarySetTexts = {"One or more parameter values were invalid: Binary sets should not be empty",
                                 "One or more parameter values were invalid: Binary sets may not contain null values",
                                 [](const Json& array) {
                                     return "One or more parameter values were invalid: Input collection " +
                                            listed(array) + "of type BS contains duplicates.";
                                 }};

} // namespace

bool JsonElements::invalid(JsonError* error, std::string_view message)
{
    return fail(error, JsonError::Kind::Validation, std::string(message));
}

bool JsonElements::invalidParameter(JsonError* error, const std::string& reason)
{
    return fail(error, JsonError::Kind::Validation, "One or more parameter values were invalid: " + reason);
}

bool JsonElements::wrongType(JsonError* error, const Json& json, const std::string& expected)
{
    const auto cannot = [&](const char* token) {
        return fail(error, JsonError::Kind::Serialization, token + (" cannot be converted to " + expected));
    };
    switch (json.GetType()) {
    case rapidjson::kObjectType:
        return fail(error, JsonError::Kind::Serialization, "Start of structure or map found where not expected");
    case rapidjson::kArrayType:
        return fail(error, JsonError::Kind::Serialization, "Start of list found where not expected");
    case rapidjson::kStringType:
        return cannot("STRING_VALUE");
    case rapidjson::kTrueType:
        return cannot("TRUE_VALUE");
    case rapidjson::kFalseType:
        return cannot("FALSE_VALUE");
    case rapidjson::kNumberType:
        return cannot(json.IsDouble() ? "DECIMAL_VALUE" : "NUMBER_VALUE");
    case rapidjson::kNullType:
        break;
    }
    return cannot("NULL_VALUE");
}

std::string_view JsonElements::textOf(const Json& string)
{
    return {string.GetString(), string.GetStringLength()};
}

bool JsonElements::readString(const Json& json, std::string* text, JsonError* error)
{
    if (!json.IsString())
        return wrongType(error, json, "String");
    *text = textOf(json);
    return true;
}

bool JsonElements::readNumber(const Json& json, Decimal::Number* number, JsonError* error)
{
    if (!json.IsString())
        return wrongType(error, json, "String");
    Decimal::Refusal why{};
    const auto parsed = Decimal::Number::parse(textOf(json), &why);
    if (!parsed)
        return invalid(error, Decimal::messageOf(why, textOf(json)));
    *number = *parsed;
    return true;
}

bool JsonElements::readBinary(const Json& json, Binary* binary, JsonError* error)
{
    if (!json.IsString())
        return wrongType(error, json, "Blob");
    std::string why;
    if (Base64::decode(textOf(json), &binary->bytes, &why))
        return true;
    return fail(error, JsonError::Kind::Serialization,
                "\"" + std::string(textOf(json)) + "\" can not be converted to a Blob: " + why);
}

bool JsonElements::readBool(const Json& json, bool* value, JsonError* error)
{
    if (!json.IsBool())
        return wrongType(error, json, "Boolean");
    *value = json.GetBool();
    return true;
}

bool JsonElements::readSet(const Json& json, AttributeValue::StringSet* set, JsonError* error)
{
    return readElements(json, StringSetTexts, readString, set, error);
}

bool JsonElements::readSet(const Json& json, AttributeValue::NumberSet* set, JsonError* error)
{
    return readElements(json, NumberSetTexts, readNumber, set, error);
}

bool JsonElements::readSet(const Json& json, AttributeValue::BinarySet* set, JsonError* error)
{
    return readElements(json, BinarySetTexts, readBinary, set, error);
}

} // namespace Items

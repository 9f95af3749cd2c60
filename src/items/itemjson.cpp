#include "items/itemjson.h"

#include "items/base64.h"

#include <utility>

namespace Items {

namespace {

using Type = AttributeValue::Type;
using Json = rapidjson::Value;

constexpr std::string_view Empty =
    "Supplied AttributeValue is empty, must contain exactly one of the supported datatypes";
constexpr std::string_view SeveralTypes =
    "Supplied AttributeValue has more than one datatypes set, must contain exactly one of the supported datatypes";

bool fail(JsonError* error, JsonError::Kind kind, std::string message)
{
    *error = {kind, std::move(message)};
    return false;
}

bool invalid(JsonError* error, std::string_view message)
{
    return fail(error, JsonError::Kind::Validation, std::string(message));
}

bool invalidParameter(JsonError* error, const std::string& message)
{
    return fail(error, JsonError::Kind::Validation, "One or more parameter values were invalid: " + message);
}

/** `json` is of another JSON type than `expected`, which is a name of the API's model. */
bool wrongType(JsonError* error, const Json& json, const std::string& expected)
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

std::string_view textOf(const Json& string)
{
    return {string.GetString(), string.GetStringLength()};
}

/** The elements of a set as they are given, for the API's messages: "[a, b]". */
std::string listed(const Json& array)
{
    std::string list;
    for (const Json& element : array.GetArray())
        list.append(list.empty() ? "" : ", ").append(textOf(element));
    return "[" + list + "]";
}

bool readString(const Json& json, std::string* text, JsonError* error)
{
    if (!json.IsString())
        return wrongType(error, json, "String");
    *text = textOf(json);
    return true;
}

bool readNumber(const Json& json, Decimal::Number* number, JsonError* error)
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

bool readBinary(const Json& json, Binary* binary, JsonError* error)
{
    if (!json.IsString())
        return wrongType(error, json, "Blob");
    std::string why;
    if (Base64::decode(textOf(json), &binary->bytes, &why))
        return true;
    return fail(error, JsonError::Kind::Serialization,
                "\"" + std::string(textOf(json)) + "\" can not be converted to a Blob: " + why);
}

bool readBool(const Json& json, bool* value, JsonError* error)
{
    if (!json.IsBool())
        return wrongType(error, json, "Boolean");
    *value = json.GetBool();
    return true;
}

/** Reads the elements of a set, of which there must be some and no two alike. The messages are those of the set's type.
 */
struct SetTexts {
    std::string_view empty;
    std::string_view elementNull;
    std::string (*duplicates)(const Json& array);
};

template <typename Set, typename Read>
bool readSet(const Json& json, const SetTexts& texts, const Read& read, Set* set, JsonError* error)
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

/** Reads values with `levels` levels of maps and lists left. */
class Reader {
public:
    Reader(JsonError* error, int levels) : error_(error), levels_(levels) {}

    bool readValue(const Json& json, AttributeValue* value)
    {
        if (json.IsNull())
            return invalid(error_, Empty);
        if (!json.IsObject())
            return wrongType(error_, json, "AttributeValue");
        int types = 0;
        for (const auto& member : json.GetObject()) {
            const auto type = typeNamed(textOf(member.name));
            if (!type || member.value.IsNull())
                continue;
            if (!read(*type, member.value, value))
                return false;
            ++types;
        }
        return types == 1 || invalid(error_, types == 0 ? Empty : SeveralTypes);
    }

    bool readAttributes(const Json& json, Item* item)
    {
        if (!json.IsObject())
            return wrongType(error_, json, "Map");
        for (const auto& member : json.GetObject()) {
            AttributeValue value;
            if (!readValue(member.value, &value))
                return false;
            item->insert_or_assign(std::string(textOf(member.name)), std::move(value));
        }
        return true;
    }

private:
    bool read(Type type, const Json& json, AttributeValue* value)
    {
        switch (type) {
        case Type::String:
            return readWith(Items::readString, AttributeValue::ofString, json, value);
        case Type::Number:
            return readWith(Items::readNumber, AttributeValue::ofNumber, json, value);
        case Type::Binary: {
            Binary binary;
            if (!readBinary(json, &binary, error_))
                return false;
            *value = AttributeValue::ofBinary(std::move(binary.bytes));
            return true;
        }
        case Type::Bool:
            return readWith(readBool, AttributeValue::ofBool, json, value);
        case Type::Null:
            return readNull(json, value);
        case Type::Map:
            return readMap(json, value);
        case Type::List:
            return readList(json, value);
        case Type::StringSet:
            return readSetWith(StringSetTexts, Items::readString, AttributeValue::ofStringSet, json, value);
        case Type::NumberSet:
            return readSetWith(NumberSetTexts, Items::readNumber, AttributeValue::ofNumberSet, json, value);
        case Type::BinarySet:
            return readSetWith(BinarySetTexts, readBinary, AttributeValue::ofBinarySet, json, value);
        }
        return false;
    }

    template <typename Content, typename Argument>
    bool readWith(bool (*readContent)(const Json&, Content*, JsonError*), AttributeValue (*make)(Argument),
                  const Json& json, AttributeValue* value)
    {
        Content content{};
        if (!readContent(json, &content, error_))
            return false;
        *value = make(std::move(content));
        return true;
    }

    template <typename Element, typename Set>
    bool readSetWith(const SetTexts& texts, bool (*readElement)(const Json&, Element*, JsonError*),
                     AttributeValue (*make)(Set), const Json& json, AttributeValue* value)
    {
        Set set;
        if (!readSet(json, texts, readElement, &set, error_))
            return false;
        *value = make(std::move(set));
        return true;
    }

    bool readNull(const Json& json, AttributeValue* value)
    {
        bool isNull = false;
        if (!readBool(json, &isNull, error_))
            return false;
        *value = AttributeValue::ofNull();
        return isNull || invalidParameter(error_, "Null attribute value types must have the value of true");
    }

    bool readMap(const Json& json, AttributeValue* value)
    {
        if (!enter())
            return false;
        Item map;
        if (!readAttributes(json, &map))
            return false;
        ++levels_;
        *value = AttributeValue::ofMap(std::move(map));
        return true;
    }

    bool readList(const Json& json, AttributeValue* value)
    {
        if (!json.IsArray())
            return wrongType(error_, json, "List");
        if (!enter())
            return false;
        AttributeValue::List list(json.Size());
        for (rapidjson::SizeType i = 0; i < json.Size(); ++i) {
            if (!readValue(json[i], &list[i]))
                return false;
        }
        ++levels_;
        *value = AttributeValue::ofList(std::move(list));
        return true;
    }

    bool enter()
    {
        return --levels_ >= 0 ||
               invalidParameter(error_, "Nesting Levels have exceeded supported limits: Attributes in the item have "
                                        "nested levels beyond supported limit");
    }

    JsonError* const error_;
    int levels_;
};

} // namespace

bool readValue(const rapidjson::Value& json, AttributeValue* value, JsonError* error)
{
    return Reader(error, MostLevels).readValue(json, value);
}

bool readItem(const rapidjson::Value& json, Item* item, JsonError* error)
{
    item->clear();
    return Reader(error, MostLevels).readAttributes(json, item);
}

} // namespace Items

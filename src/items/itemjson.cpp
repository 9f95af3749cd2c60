#include "items/itemjson.h"

#include "items/jsonelements.h"

#include <utility>

namespace Items {

using namespace JsonElements;

namespace {

using Type = AttributeValue::Type;
using Json = JsonValue;

constexpr std::string_view Empty =
    "Supplied AttributeValue is empty, must contain exactly one of the supported datatypes";
constexpr std::string_view SeveralTypes =
    "Supplied AttributeValue has more than one datatypes set, must contain exactly one of the supported datatypes";

AttributeValue ofBinary(Binary binary)
{
    return AttributeValue::ofBinary(std::move(binary.bytes));
}

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
            AttributeValue& value = item->try_emplace(std::string(textOf(member.name))).first->second;
            if (!readValue(member.value, &value))
                return false;
        }
        return true;
    }

private:
    bool read(Type type, const Json& json, AttributeValue* value)
    {
        switch (type) {
        case Type::String:
            return readWith(readString, AttributeValue::ofString, json, value);
        case Type::Number:
            return readWith(readNumber, AttributeValue::ofNumber, json, value);
        case Type::Binary:
            return readWith(readBinary, ofBinary, json, value);
        case Type::Bool:
            return readWith(readBool, AttributeValue::ofBool, json, value);
        case Type::Null:
            return readNull(json, value);
        case Type::Map:
            return readMap(json, value);
        case Type::List:
            return readList(json, value);
        case Type::StringSet:
            return readWith<AttributeValue::StringSet>(readSet, AttributeValue::ofStringSet, json, value);
        case Type::NumberSet:
            return readWith<AttributeValue::NumberSet>(readSet, AttributeValue::ofNumberSet, json, value);
        case Type::BinarySet:
            return readWith<AttributeValue::BinarySet>(readSet, AttributeValue::ofBinarySet, json, value);
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

bool readValue(const JsonValue& json, AttributeValue* value, JsonError* error)
{
    return Reader(error, MostLevels).readValue(json, value);
}

bool readItem(const JsonValue& json, Item* item, JsonError* error)
{
    item->clear();
    if (!Reader(error, MostLevels).readAttributes(json, item))
        return false;
    return !item->contains("") || invalidParameter(error, "Attribute names must not be empty");
}

} // namespace Items

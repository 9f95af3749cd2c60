#include "items/base64.h"
#include "items/itemjson.h"

namespace Items {

namespace {

using Type = AttributeValue::Type;

void write(std::string_view text, JsonWriter* writer)
{
    writer->String(text.data(), static_cast<rapidjson::SizeType>(text.size()));
}

void write(const Decimal::Number& number, JsonWriter* writer)
{
    write(number.text(), writer);
}

void write(const Binary& binary, JsonWriter* writer)
{
    write(Base64::encode(binary.bytes), writer);
}

void write(const AttributeValue& value, JsonWriter* writer)
{
    writeValue(value, writer);
}

template <typename Elements> void writeArray(const Elements& elements, JsonWriter* writer)
{
    writer->StartArray();
    for (const auto& element : elements)
        write(element, writer);
    writer->EndArray();
}

void writeContent(const AttributeValue& value, JsonWriter* writer)
{
    switch (value.type()) {
    case Type::String:
        return write(*value.asString(), writer);
    case Type::Number:
        return write(*value.asNumber(), writer);
    case Type::Binary:
        return write(Base64::encode(*value.asBinary()), writer);
    case Type::Bool:
        writer->Bool(*value.asBool());
        return;
    case Type::Null:
        writer->Bool(true);
        return;
    case Type::Map:
        return writeItem(*value.asMap(), writer);
    case Type::List:
        return writeArray(*value.asList(), writer);
    case Type::StringSet:
        return writeArray(*value.asStringSet(), writer);
    case Type::NumberSet:
        return writeArray(*value.asNumberSet(), writer);
    case Type::BinarySet:
        return writeArray(*value.asBinarySet(), writer);
    }
}

} // namespace

void writeValue(const AttributeValue& value, JsonWriter* writer)
{
    writer->StartObject();
    write(nameOf(value.type()), writer);
    writeContent(value, writer);
    writer->EndObject();
}

void writeItem(const Item& item, JsonWriter* writer)
{
    writer->StartObject();
    for (const auto& [name, value] : item) {
        write(name, writer);
        writeValue(value, writer);
    }
    writer->EndObject();
}

std::string jsonOf(const Item& item)
{
    JsonText buffer;
    JsonWriter writer(buffer);
    writeItem(item, &writer);
    return {buffer.GetString(), buffer.GetSize()};
}

} // namespace Items

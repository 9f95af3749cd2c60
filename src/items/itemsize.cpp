#include "items/itemsize.h"

namespace Items {

namespace {

constexpr std::size_t ContainerBytes = 3; // of a map or a list
constexpr std::size_t ElementBytes = 1;   // of each element of one

std::size_t sizeOfNumber(const Decimal::Number& number)
{
    return 1 + (static_cast<std::size_t>(number.digitCount()) + 1) / 2;
}

std::size_t sizeOfSet(const AttributeValue::StringSet& set)
{
    std::size_t size = 0;
    for (const std::string& element : set)
        size += element.size();
    return size;
}

std::size_t sizeOfSet(const AttributeValue::NumberSet& set)
{
    std::size_t size = 0;
    for (const Decimal::Number& element : set)
        size += sizeOfNumber(element);
    return size;
}

std::size_t sizeOfSet(const AttributeValue::BinarySet& set)
{
    std::size_t size = 0;
    for (const Binary& element : set)
        size += element.bytes.size();
    return size;
}

std::size_t sizeOfList(const AttributeValue::List& list)
{
    std::size_t size = ContainerBytes + ElementBytes * list.size();
    for (const AttributeValue& element : list)
        size += sizeOf(element);
    return size;
}

} // namespace

std::size_t sizeOf(const AttributeValue& value)
{
    using Type = AttributeValue::Type;
    switch (value.type()) {
    case Type::String:
        return value.asString()->size();
    case Type::Number:
        return sizeOfNumber(*value.asNumber());
    case Type::Binary:
        return value.asBinary()->size();
    case Type::Bool:
    case Type::Null:
        return 1;
    case Type::Map:
        return ContainerBytes + ElementBytes * value.asMap()->size() + sizeOfItem(*value.asMap());
    case Type::List:
        return sizeOfList(*value.asList());
    case Type::StringSet:
        return sizeOfSet(*value.asStringSet());
    case Type::NumberSet:
        return sizeOfSet(*value.asNumberSet());
    case Type::BinarySet:
        return sizeOfSet(*value.asBinarySet());
    }
    return 0;
}

std::size_t sizeOfItem(const Item& item)
{
    std::size_t size = 0;
    for (const auto& [name, value] : item)
        size += name.size() + sizeOf(value);
    return size;
}

} // namespace Items

#include "items/attributevalue.h"

#include <algorithm>
#include <array>
#include <type_traits>
#include <utility>

namespace Items {

namespace {

constexpr std::array<std::string_view, AttributeValue::TypeCount> TypeNames = {"S", "N", "B",  "BOOL", "NULL",
                                                                               "M", "L", "SS", "NS",   "BS"};

} // namespace

AttributeValue::AttributeValue() = default;
AttributeValue::AttributeValue(const AttributeValue& other) = default;
AttributeValue::AttributeValue(AttributeValue&& other) noexcept = default;
AttributeValue& AttributeValue::operator=(const AttributeValue& other) = default;
AttributeValue& AttributeValue::operator=(AttributeValue&& other) noexcept = default;
AttributeValue::~AttributeValue() = default;

template <typename Content>
AttributeValue::AttributeValue(std::in_place_t, Content&& content)
    : value_(std::in_place_type<std::remove_cvref_t<Content>>, std::forward<Content>(content))
{}

AttributeValue AttributeValue::ofString(std::string utf8)
{
    return AttributeValue(std::in_place, std::move(utf8));
}

AttributeValue AttributeValue::ofNumber(const Decimal::Number& number)
{
    return AttributeValue(std::in_place, number);
}

AttributeValue AttributeValue::ofBinary(std::string bytes)
{
    return AttributeValue(std::in_place, Items::Binary{std::move(bytes)});
}

AttributeValue AttributeValue::ofBool(bool value)
{
    return AttributeValue(std::in_place, value);
}

AttributeValue AttributeValue::ofNull()
{
    return AttributeValue(std::in_place, std::monostate());
}

AttributeValue AttributeValue::ofMap(Map map)
{
    return AttributeValue(std::in_place, std::move(map));
}

AttributeValue AttributeValue::ofList(List list)
{
    return AttributeValue(std::in_place, std::move(list));
}

AttributeValue AttributeValue::ofStringSet(StringSet set)
{
    return AttributeValue(std::in_place, std::move(set));
}

AttributeValue AttributeValue::ofNumberSet(NumberSet set)
{
    return AttributeValue(std::in_place, std::move(set));
}

AttributeValue AttributeValue::ofBinarySet(BinarySet set)
{
    return AttributeValue(std::in_place, std::move(set));
}

const std::string* AttributeValue::asBinary() const
{
    const auto* binary = std::get_if<Items::Binary>(&value_);
    return binary != nullptr ? &binary->bytes : nullptr;
}

bool operator==(const AttributeValue& a, const AttributeValue& b)
{
    return a.value_ == b.value_;
}

std::partial_ordering compare(const AttributeValue& a, const AttributeValue& b)
{
    using Type = AttributeValue::Type;
    if (a.type() != b.type())
        return std::partial_ordering::unordered;
    switch (a.type()) {
    case Type::String:
        return *a.asString() <=> *b.asString();
    case Type::Number:
        return *a.asNumber() <=> *b.asNumber();
    case Type::Binary:
        return *a.asBinary() <=> *b.asBinary();
    default:
        return std::partial_ordering::unordered;
    }
}

std::string_view nameOf(AttributeValue::Type type)
{
    return TypeNames[static_cast<std::size_t>(type)];
}

std::optional<AttributeValue::Type> typeNamed(std::string_view name)
{
    const auto* const found = std::find(TypeNames.begin(), TypeNames.end(), name);
    if (found == TypeNames.end())
        return {};
    return static_cast<AttributeValue::Type>(found - TypeNames.begin());
}

int levelsOf(const AttributeValue& value)
{
    int deepest = 0;
    if (const auto* map = value.asMap()) {
        for (const auto& [name, element] : *map)
            deepest = std::max(deepest, levelsOf(element));
        return deepest + 1;
    }
    if (const auto* list = value.asList()) {
        for (const AttributeValue& element : *list)
            deepest = std::max(deepest, levelsOf(element));
        return deepest + 1;
    }
    return 0;
}

} // namespace Items

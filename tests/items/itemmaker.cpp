#include "itemmaker.h"

#include "items/itemsize.h"

#include <gtest/gtest.h>

using Items::AttributeValue;
using Items::Item;

namespace {

void appendUtf8(std::string* text, unsigned character)
{
    const auto continuation = [](unsigned bits) { return static_cast<char>(0x80 | (bits & 0x3f)); };
    if (character < 0x80)
        *text += static_cast<char>(character);
    else if (character < 0x800)
        *text += {static_cast<char>(0xc0 | character >> 6), continuation(character)};
    else if (character < 0x10000)
        *text += {static_cast<char>(0xe0 | character >> 12), continuation(character >> 6), continuation(character)};
    else
        *text += {static_cast<char>(0xf0 | character >> 18), continuation(character >> 12),
                  continuation(character >> 6), continuation(character)};
}

} // namespace

std::string ItemMaker::characters(std::size_t count, std::size_t first, std::size_t number)
{
    std::string text;
    text.reserve(count);
    while (text.size() < count)
        text += static_cast<char>(first + upTo(number));
    return text;
}

std::string ItemMaker::utf8(std::size_t mostCharacters)
{
    constexpr unsigned Ends[] = {3, 0x20, 0x80, 0x100, 0x800, 0xd800, 0x110000};
    std::string text;
    for (std::size_t left = upTo(mostCharacters + 1); left > 0; --left) {
        const auto character = static_cast<unsigned>(upTo(Ends[upTo(std::size(Ends))]));
        appendUtf8(&text, character >= 0xd800 && character < 0xe000 ? 0xffff : character);
    }
    return text;
}

Decimal::Number ItemMaker::number(int mostDigits)
{
    std::string digits = characters(1 + upTo(static_cast<std::size_t>(mostDigits)), 0, 10);
    digits.front() = digits.front() == 0 ? char{1} : digits.front();
    digits.back() = digits.back() == 0 ? char{9} : digits.back();
    const int exponent = upTo(2) == 0 ? static_cast<int>(upTo(256)) - 130 : static_cast<int>(upTo(5)) - 2;
    return Decimal::Number::fromDigits(upTo(2) == 0, digits, exponent).value();
}

AttributeValue ItemMaker::value(int levels)
{
    using Type = AttributeValue::Type;
    const auto type = static_cast<Type>(upTo(AttributeValue::TypeCount));
    const std::size_t count = upTo(4);
    switch (levels == 0 && (type == Type::Map || type == Type::List) ? Type::String : type) {
    case Type::String:
        return AttributeValue::ofString(utf8(8));
    case Type::Number:
        return AttributeValue::ofNumber(upTo(10) == 0 ? Decimal::Number() : number(38));
    case Type::Binary:
        return AttributeValue::ofBinary(bytes(upTo(8)));
    case Type::Bool:
        return AttributeValue::ofBool(upTo(2) == 0);
    case Type::Null:
        return AttributeValue::ofNull();
    case Type::Map: {
        AttributeValue::Map map;
        for (std::size_t i = 0; i < count; ++i)
            map.insert_or_assign(utf8(3), value(levels - 1));
        return AttributeValue::ofMap(std::move(map));
    }
    case Type::List: {
        AttributeValue::List list;
        for (std::size_t i = 0; i < count; ++i)
            list.push_back(value(levels - 1));
        return AttributeValue::ofList(std::move(list));
    }
    case Type::StringSet: {
        AttributeValue::StringSet set;
        for (std::size_t i = 0; i <= count; ++i)
            set.insert(utf8(4));
        return AttributeValue::ofStringSet(std::move(set));
    }
    case Type::NumberSet: {
        AttributeValue::NumberSet set;
        for (std::size_t i = 0; i <= count; ++i)
            set.insert(number(3));
        return AttributeValue::ofNumberSet(std::move(set));
    }
    case Type::BinarySet: {
        AttributeValue::BinarySet set;
        for (std::size_t i = 0; i <= count; ++i)
            set.insert({bytes(upTo(4))});
        return AttributeValue::ofBinarySet(std::move(set));
    }
    }
    return {};
}

Item ItemMaker::filled(const std::function<std::pair<std::string, AttributeValue>()>& make)
{
    Item item;
    std::size_t size = 0;
    for (int misses = 0; misses < 1000;) {
        auto [name, value] = make();
        const std::size_t more = name.size() + Items::sizeOf(value);
        const bool fits = size + more <= Items::MostItemBytes && item.emplace(name, std::move(value)).second;
        size += fits ? more : 0;
        misses = fits ? 0 : misses + 1;
    }
    EXPECT_GT(size, Items::MostItemBytes - 2000);
    EXPECT_EQ(Items::sizeOfItem(item), size);
    return item;
}

Item ItemMaker::listOf(const std::function<AttributeValue()>& make)
{
    AttributeValue::List list;
    std::size_t size = std::string_view("list").size() + 3;
    for (;;) {
        AttributeValue value = make();
        size += 1 + Items::sizeOf(value);
        if (size > Items::MostItemBytes)
            break;
        list.push_back(std::move(value));
    }
    Item item;
    item.emplace("list", AttributeValue::ofList(std::move(list)));
    EXPECT_GT(Items::sizeOfItem(item), Items::MostItemBytes - 2000);
    EXPECT_LE(Items::sizeOfItem(item), Items::MostItemBytes);
    return item;
}

Items::JsonDocument parsedJson(const std::string& text)
{
    Items::JsonDocument document;
    document.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseValidateEncodingFlag>(text.data(), text.size());
    EXPECT_FALSE(document.HasParseError()) << text.substr(0, 1000);
    return document;
}

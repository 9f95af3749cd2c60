#include "items/storeditem.h"

#include "itemmaker.h"
#include "items/itemsize.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

// The largest items that the API allows, with JSON many times as long. Each is filled with what compresses least.
namespace {

using Items::AttributeValue;
using Items::Item;
namespace StoredItem = Items::StoredItem;

void expectFits(const Item& item)
{
    const auto text = StoredItem::textOf(item);
    ASSERT_TRUE(text);
    EXPECT_LE(text->size(), StoredItem::MostBytes);
    EXPECT_TRUE(text->starts_with("{\"Packed")) << "the item is stored as it is";
    Item read;
    std::string why;
    ASSERT_TRUE(StoredItem::read(parsedJson(*text), {}, &read, &why)) << why;
    EXPECT_EQ(read, item);
}

void expectFits(const AttributeValue& value)
{
    const Item item = {{"a", value}};
    EXPECT_EQ(Items::sizeOfItem(item), Items::MostItemBytes);
    expectFits(item);
}

constexpr std::size_t Most = Items::MostItemBytes - 1; // beside the name

TEST(StoredItemFits, RandomBinary)
{
    expectFits(AttributeValue::ofBinary(ItemMaker(11).bytes(Most)));
}

TEST(StoredItemFits, ControlCharacters)
{
    expectFits(AttributeValue::ofString(ItemMaker(12).characters(Most, 0, 0x20)));
}

TEST(StoredItemFits, RandomAscii)
{
    expectFits(AttributeValue::ofString(ItemMaker(13).characters(Most, 0, 0x80)));
}

TEST(StoredItemFits, AHundredThousandAttributes)
{
    ItemMaker maker(14);
    const Item item = ItemMaker::filled(
        [&] { return std::pair(maker.characters(3, 0, 0x80), AttributeValue::ofBool(maker.upTo(2) == 0)); });
    EXPECT_GE(item.size(), 100000u);
    expectFits(item);
}

TEST(StoredItemFits, SmallBinaries)
{
    ItemMaker maker(15);
    expectFits(ItemMaker::filled([&] {
        return std::pair(maker.characters(1 + maker.upTo(6), 0, 0x80),
                         AttributeValue::ofBinary(maker.bytes(maker.upTo(7))));
    }));
    expectFits(ItemMaker::listOf([&] { return AttributeValue::ofBinary(maker.bytes(maker.upTo(20))); }));
}

TEST(StoredItemFits, NestedLists)
{
    ItemMaker maker(16);
    expectFits(ItemMaker::listOf([&] {
        AttributeValue value = AttributeValue::ofBinary(maker.bytes(maker.upTo(3)));
        for (int level = 1; level < Items::MostLevels; ++level)
            value = maker.upTo(2) == 0 ? AttributeValue::ofList({value}) : AttributeValue::ofMap({{"", value}});
        return value;
    }));
    expectFits(ItemMaker::listOf([] { return AttributeValue::ofList(); }));
}

TEST(StoredItemFits, Numbers)
{
    ItemMaker maker(17);
    expectFits(ItemMaker::listOf([&] { return AttributeValue::ofNumber(maker.number(2)); }));
    expectFits(ItemMaker::listOf([&] {
        AttributeValue::NumberSet set;
        for (std::size_t i = maker.upTo(20); i < 20; ++i)
            set.insert(maker.number(38));
        return AttributeValue::ofNumberSet(std::move(set));
    }));
}

TEST(StoredItemFits, Sets)
{
    ItemMaker maker(18);
    AttributeValue::BinarySet binaries;
    AttributeValue::StringSet strings;
    for (std::size_t bytes = 0; bytes + 4 < Most;) {
        const std::string binary = maker.bytes(1 + maker.upTo(4));
        bytes += binaries.insert({binary}).second ? binary.size() : 0;
    }
    for (std::size_t bytes = 0; bytes + 4 < Most;) {
        const std::string string = maker.characters(1 + maker.upTo(4), 0, 0x80);
        bytes += strings.insert(string).second ? string.size() : 0;
    }
    expectFits(Item{{"a", AttributeValue::ofBinarySet(std::move(binaries))}});
    expectFits(Item{{"a", AttributeValue::ofStringSet(std::move(strings))}});
}

TEST(StoredItemFits, NothingButTheRandomBytesOfManySmallBinarySetsDoesNot)
{
    // There are more items of 400 KB with such sets than texts that can be stored.
    ItemMaker maker(19);
    const Item item = ItemMaker::listOf([&] {
        AttributeValue::BinarySet set;
        for (int i = 0; i < 6; ++i)
            set.insert({maker.bytes(maker.upTo(7))});
        return AttributeValue::ofBinarySet(std::move(set));
    });
    EXPECT_EQ(StoredItem::textOf(item), std::nullopt);
}

} // namespace

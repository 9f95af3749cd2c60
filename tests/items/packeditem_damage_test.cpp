#include "items/packeditem.h"

#include "itemmaker.h"
#include "items/columns.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

namespace {

using Items::AttributeValue;
using Items::Columns;
using Items::Item;
namespace PackedItem = Items::PackedItem;

TEST(PackedItem, RandomItemsSurvive)
{
    ItemMaker maker(20);
    for (int i = 0; i < 1000; ++i) {
        const Item item = {{"a" + maker.utf8(3), maker.value(4)}, {"b" + maker.utf8(3), maker.value(4)}};
        const auto bytes = PackedItem::pack(item);
        ASSERT_TRUE(bytes);
        ASSERT_EQ(PackedItem::unpack(*bytes), item);
    }
    EXPECT_EQ(PackedItem::unpack(PackedItem::pack({}).value()), Item());
}

TEST(PackedItem, DamageIsFoundOrMakesAnotherItem)
{
    ItemMaker maker(21);
    for (int i = 0; i < 5000; ++i) {
        const std::string whole = PackedItem::pack({{"a", maker.value(3)}, {"b", maker.value(3)}}).value();
        std::string changed = whole;
        changed[maker.upTo(changed.size())] = static_cast<char>(maker.upTo(256));
        (void)PackedItem::unpack(changed); // whatever it is, it is read or refused
        ASSERT_EQ(PackedItem::unpack(whole.substr(0, maker.upTo(whole.size()))), std::nullopt);
        ASSERT_EQ(PackedItem::unpack(whole + "x"), std::nullopt);
    }
}

/** Columns with an attribute "a", of which the type and the content follow. */
Columns beginning(AttributeValue::Type type)
{
    Columns columns;
    columns.putNumber(Columns::Structure, 1);
    columns.putNumber(Columns::Shared, 0);
    columns.putNumber(Columns::Lengths, 1);
    columns.putBytes(Columns::Text, "a");
    columns.putByte(Columns::Structure, static_cast<unsigned>(type));
    return columns;
}

bool isRead(const Columns& columns)
{
    return PackedItem::unpack(columns.bytes().value()).has_value();
}

TEST(PackedItem, WhatNoItemHasIsRefused)
{
    using Type = AttributeValue::Type;
    Columns null = beginning(Type::Null);
    EXPECT_TRUE(isRead(null));
    null.putByte(Columns::Structure, 0);
    EXPECT_FALSE(isRead(null)) << "something is left";
    EXPECT_FALSE(isRead(beginning(static_cast<Type>(AttributeValue::TypeCount))));
    EXPECT_FALSE(isRead(beginning(Type::Bool))) << "something is missing";

    Columns boolean = beginning(Type::Bool);
    boolean.putByte(Columns::Structure, 2);
    EXPECT_FALSE(isRead(boolean));

    Columns string = beginning(Type::String);
    string.putNumber(Columns::Lengths, 1);
    string.putBytes(Columns::Text, "\xff");
    EXPECT_FALSE(isRead(string)) << "no UTF-8";

    Columns set = beginning(Type::StringSet);
    set.putNumber(Columns::Structure, 0);
    EXPECT_FALSE(isRead(set)) << "an empty set";

    Columns strings = beginning(Type::StringSet);
    strings.putNumber(Columns::Structure, 1);
    strings.putNumber(Columns::Shared, 0);
    strings.putNumber(Columns::Lengths, 1);
    Columns foreign = strings;
    strings.putBytes(Columns::Text, "x");
    EXPECT_TRUE(isRead(strings));
    foreign.putBytes(Columns::Text, "\xff");
    EXPECT_FALSE(isRead(foreign)) << "no UTF-8";

    Columns shared = beginning(Type::BinarySet);
    shared.putNumber(Columns::Structure, 1);
    shared.putNumber(Columns::Shared, 1);
    shared.putNumber(Columns::Lengths, 0);
    EXPECT_FALSE(isRead(shared)) << "nothing is before it that it could share";

    Columns number = beginning(Type::Number);
    number.putByte(Columns::NumberHeads, 1 << 1);
    number.putByte(Columns::Exponents, 130);
    number.putByte(Columns::DigitPairs, 7); // 0 and 7
    EXPECT_FALSE(isRead(number));

    for (const int levels : {Items::MostLevels, Items::MostLevels + 1}) {
        Columns nested = beginning(Type::List);
        for (int level = 1; level < levels; ++level) {
            nested.putNumber(Columns::Structure, 1);
            nested.putByte(Columns::Structure, static_cast<unsigned>(Type::List));
        }
        nested.putNumber(Columns::Structure, 0);
        EXPECT_EQ(isRead(nested), levels == Items::MostLevels);
    }

    Columns large;
    large.putBytes(Columns::Text, std::string(Columns::MostColumnBytes + 1, 'x'));
    EXPECT_EQ(large.bytes(), std::nullopt);
}

} // namespace

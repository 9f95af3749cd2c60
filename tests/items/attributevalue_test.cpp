#include "items/attributevalue.h"

#include "itemmaker.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Items::AttributeValue;
using Type = AttributeValue::Type;

AttributeValue numeric(const std::string& text)
{
    return AttributeValue::ofNumber(Decimal::Number::parse(text).value());
}

/** One of each type, in the order of the types. */
std::vector<AttributeValue> oneOfEach()
{
    return {AttributeValue::ofString("x"),
            numeric("1"),
            AttributeValue::ofBinary("x"),
            AttributeValue::ofBool(true),
            AttributeValue::ofNull(),
            AttributeValue::ofMap({{"x", numeric("1")}}),
            AttributeValue::ofList({numeric("1")}),
            AttributeValue::ofStringSet({"x"}),
            AttributeValue::ofNumberSet({*numeric("1").asNumber()}),
            AttributeValue::ofBinarySet({{"x"}})};
}

TEST(AttributeValue, GivesItsContentAsItsTypeAlone)
{
    const std::vector<AttributeValue> values = oneOfEach();
    ASSERT_EQ(values.size(), AttributeValue::TypeCount);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const AttributeValue& value = values[i];
        EXPECT_EQ(value.type(), static_cast<Type>(i));
        const std::vector<bool> is = {value.asString() != nullptr,
                                      value.asNumber() != nullptr,
                                      value.asBinary() != nullptr,
                                      value.asBool() != nullptr,
                                      value.isNull(),
                                      value.asMap() != nullptr,
                                      value.asList() != nullptr,
                                      value.asStringSet() != nullptr,
                                      value.asNumberSet() != nullptr,
                                      value.asBinarySet() != nullptr};
        for (std::size_t j = 0; j < is.size(); ++j)
            EXPECT_EQ(is[j], i == j) << i << " " << j;
    }
    EXPECT_EQ(*values[0].asString(), "x");
    EXPECT_EQ(values[1].asNumber()->text(), "1");
    EXPECT_EQ(*values[2].asBinary(), "x");
    EXPECT_TRUE(*values[3].asBool());
    EXPECT_EQ(values[5].asMap()->at("x"), values[1]);
    EXPECT_EQ(values[6].asList()->at(0), values[1]);
    EXPECT_EQ(AttributeValue(), AttributeValue::ofString(""));
}

TEST(AttributeValue, IsEqualToOneOfItsTypeAndValue)
{
    const std::vector<AttributeValue> values = oneOfEach();
    for (std::size_t i = 0; i < values.size(); ++i) {
        for (std::size_t j = 0; j < values.size(); ++j)
            EXPECT_EQ(values[i] == values[j], i == j) << i << " " << j;
    }
    EXPECT_EQ(numeric("1.0"), numeric("1"));
    EXPECT_NE(numeric("1"), numeric("1.0000000000000000000000000000000000001"));
    EXPECT_NE(AttributeValue::ofBool(true), AttributeValue::ofBool(false));
    EXPECT_NE(AttributeValue::ofList({numeric("1"), numeric("2")}),
              AttributeValue::ofList({numeric("2"), numeric("1")}));
    EXPECT_NE(AttributeValue::ofMap({{"x", numeric("1")}}), AttributeValue::ofMap({{"y", numeric("1")}}));
    EXPECT_EQ(AttributeValue::ofStringSet({"a", "b"}), AttributeValue::ofStringSet({"b", "a", "b"}));
    EXPECT_NE(AttributeValue::ofStringSet({"a", "b"}), AttributeValue::ofStringSet({"a"}));
}

TEST(AttributeValue, IsOrderedAmongStringsNumbersAndBinaries)
{
    using Order = std::partial_ordering;
    const auto text = AttributeValue::ofString;
    const auto binary = AttributeValue::ofBinary;
    EXPECT_EQ(compare(text("a"), text("b")), Order::less);
    EXPECT_EQ(compare(text("a"), text("a")), Order::equivalent);
    EXPECT_EQ(compare(text("ab"), text("a")), Order::greater);
    EXPECT_EQ(compare(text("\xef\xbf\xbf"), text("\xf0\x90\x80\x80")), Order::less) << "by UTF-8, not by UTF-16";
    EXPECT_EQ(compare(text("z"), text("\xc3\xa9")), Order::less) << "bytes are unsigned";
    EXPECT_EQ(compare(binary(std::string("\0", 1)), binary("\x7f")), Order::less);
    EXPECT_EQ(compare(binary("\xff"), binary("\x7f")), Order::greater);
    EXPECT_EQ(compare(numeric("9"), numeric("10")), Order::less);
    EXPECT_EQ(compare(numeric("-9"), numeric("-10")), Order::greater);
    EXPECT_EQ(compare(numeric("1"), numeric("1.0")), Order::equivalent);

    const std::vector<AttributeValue> values = oneOfEach();
    for (std::size_t i = 0; i < values.size(); ++i) {
        for (std::size_t j = 0; j < values.size(); ++j)
            EXPECT_EQ(compare(values[i], values[j]), i == j && i <= 2 ? Order::equivalent : Order::unordered)
                << i << " " << j;
    }
}

TEST(AttributeValue, TypesHaveTheNamesOfTheApi)
{
    const std::vector<std::string> names = {"S", "N", "B", "BOOL", "NULL", "M", "L", "SS", "NS", "BS"};
    ASSERT_EQ(names.size(), AttributeValue::TypeCount);
    for (std::size_t i = 0; i < names.size(); ++i) {
        EXPECT_EQ(Items::nameOf(static_cast<Type>(i)), names[i]);
        EXPECT_EQ(Items::typeNamed(names[i]), static_cast<Type>(i));
    }
    for (const char* other : {"", "s", "Z", "SSS", "bool"})
        EXPECT_EQ(Items::typeNamed(other), std::nullopt) << other;
}

TEST(AttributeValue, CountsItsLevels)
{
    EXPECT_EQ(levelsOf(numeric("1")), 0);
    EXPECT_EQ(levelsOf(AttributeValue::ofStringSet({"x"})), 0);
    EXPECT_EQ(levelsOf(AttributeValue::ofList()), 1);
    EXPECT_EQ(levelsOf(AttributeValue::ofMap({{"x", numeric("1")}})), 1);
    EXPECT_EQ(levelsOf(AttributeValue::ofMap({{"x", AttributeValue::ofList()}, {"y", numeric("1")}})), 2);
    EXPECT_EQ(
        levelsOf(AttributeValue::ofList({numeric("1"), AttributeValue::ofMap({{"x", AttributeValue::ofList()}})})), 3);
}

TEST(AttributeValue, IsCopiedAndMovedWithAllItHolds)
{
    ItemMaker maker(1);
    for (int i = 0; i < 1000; ++i) {
        const AttributeValue value = maker.value(4);
        AttributeValue copy = value;
        ASSERT_EQ(copy, value);
        const AttributeValue moved = std::move(copy);
        ASSERT_EQ(moved, value);
        copy = moved;
        ASSERT_EQ(copy, value);
    }
}

} // namespace

#include "items/storeditem.h"

#include "itemmaker.h"
#include "items/itemjson.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <string_view>

namespace {

using Items::AttributeValue;
using Items::Item;
namespace StoredItem = Items::StoredItem;

/** An item whose JSON has exactly so many bytes. */
Item itemOfJson(std::size_t bytes)
{
    constexpr std::string_view Frame = R"({"a":{"S":""}})";
    return {{"a", AttributeValue::ofString(std::string(bytes - Frame.size(), 'x'))}};
}

std::string failure(const std::string& stored)
{
    Item item;
    std::string why = "was read";
    EXPECT_FALSE(StoredItem::read(parsedJson(stored), {}, &item, &why)) << stored;
    return why;
}

TEST(StoredItem, IsJsonAsLongAsThatCanBeReadBack)
{
    const Item small = {{"total", AttributeValue::ofNumber(Decimal::Number::parse("17").value())}};
    EXPECT_EQ(StoredItem::textOf(small), R"({"total":{"N":"17"}})");
    EXPECT_EQ(StoredItem::textOf({}), "{}");

    const Item longest = itemOfJson(StoredItem::MostBytes);
    EXPECT_EQ(StoredItem::textOf(longest), Items::jsonOf(longest));
    const Item longer = itemOfJson(StoredItem::MostBytes + 1);
    const std::string packed = StoredItem::textOf(longer).value();
    EXPECT_TRUE(packed.starts_with("{\"Packed" + std::string(250, '.') + R"(":{"Z":")")) << packed.substr(0, 300);
    EXPECT_LT(packed.size(), 5000u) << "it compresses well";
    EXPECT_EQ(StoredItem::textOf(itemOfJson(StoredItem::MostBytes + 1)), packed) << "equal items have equal texts";
    Item read;
    std::string why;
    EXPECT_TRUE(StoredItem::read(parsedJson(packed), {}, &read, &why)) << why;
    EXPECT_EQ(read, longer);
}

TEST(StoredItem, IsReadWithoutItsKeys)
{
    const std::array<std::string_view, 2> keys = {"h", ""};
    Item item;
    std::string why;
    ASSERT_TRUE(
        StoredItem::read(parsedJson(R"({"":"-","h":{"S":"x"},"a":{"N":"017"},"b":{"S":"y"}})"), keys, &item, &why))
        << why;
    EXPECT_EQ(Items::jsonOf(item), R"({"a":{"N":"17"},"b":{"S":"y"}})");

    std::string packed = StoredItem::textOf(itemOfJson(StoredItem::MostBytes + 1)).value();
    packed.replace(0, 1, R"({"":{"S":"-"},"h":{"S":"x"},)");
    ASSERT_TRUE(StoredItem::read(parsedJson(packed), keys, &item, &why)) << why;
    EXPECT_EQ(item, itemOfJson(StoredItem::MostBytes + 1));
}

TEST(StoredItem, OthersMayHaveStoredWhatIsNoItem)
{
    EXPECT_EQ(failure("[]"), "The stored item is not an object");
    EXPECT_EQ(failure(R"({"a":"x"})"), "STRING_VALUE cannot be converted to AttributeValue");
    EXPECT_EQ(failure(R"({"a":{"N":"x"}})"), "The parameter cannot be converted to a numeric value: x");
    EXPECT_EQ(failure(R"({"a":{"Z":"x"}})"), "The packed item is damaged");
    EXPECT_EQ(failure(R"({"a":{"Z":"##"}})"), "The packed item is damaged");
    EXPECT_EQ(failure(R"({"a":{"S":"x"},"b":{"Z":"##"}})"),
              "Supplied AttributeValue is empty, must contain exactly one of the supported datatypes");
    std::string packed = StoredItem::textOf(itemOfJson(StoredItem::MostBytes + 1)).value();
    packed.insert(packed.size() - 1, R"(,"b":{"S":"x"})");
    EXPECT_EQ(failure(packed), "The packed item is damaged");
}

} // namespace

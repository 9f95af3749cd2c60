#include "items/plainitem.h"

#include "itemmaker.h"
#include "items/itemjson.h"
#include "items/storeditem.h"

#include <gtest/gtest.h>

#include <array>
#include <string>
#include <string_view>
#include <utility>

namespace {

using Items::AttributeValue;
using Items::Item;

const Item Keys = {{"d", AttributeValue::ofString("x\"y")},
                   {"m", AttributeValue::ofNumber(Decimal::Number::parse("1.5").value())}};
const std::string D = R"("d":{"S":"x\"y"})";
const std::string M = R"("m":{"N":"1.5"})";

/** The JSON of a stored item with the keys; "other" if it is not plain. */
std::string shown(const std::string& stored, const Item& keys = Keys)
{
    std::string json = "Item:";
    return Items::PlainItem::append(stored, keys, &json) ? json.substr(5) : "other";
}

/** The same by reading it; "none" if it cannot be read. */
std::string shownByReading(const std::string& stored, const Item& keys)
{
    Items::JsonDocument document;
    document.Parse<rapidjson::kParseIterativeFlag>(stored.data(), stored.size());
    Item item;
    std::string why;
    const std::array<std::string_view, 2> names = {"d", "m"};
    if (document.HasParseError() || !Items::StoredItem::read(document, names, &item, &why))
        return "none";
    for (const auto& [name, value] : keys)
        item.insert_or_assign(name, value);
    return Items::jsonOf(item);
}

} // namespace

TEST(PlainItem, HasItsKeysInTheirPlaces)
{
    EXPECT_EQ(shown("{}"), '{' + D + ',' + M + '}');
    EXPECT_EQ(shown("{}", {}), "{}");
    for (const char* name : {"a", "e", "z"}) {
        const std::string member = "\"" + std::string(name) + R"(":{"S":"text"})";
        const std::string json = shown('{' + member + '}');
        EXPECT_EQ(json, shownByReading('{' + member + '}', Keys));
        EXPECT_EQ(shown('{' + member + '}', {}), '{' + member + '}');
    }
    const std::string all = R"({"a":{"N":"-17"},"b":{"S":""},"e":{"S":"é"},"f":{"N":"0.25"},"n":{"N":"0"}})";
    EXPECT_EQ(shown(all), R"({"a":{"N":"-17"},"b":{"S":""},)" + D + R"(,"e":{"S":"é"},"f":{"N":"0.25"},)" + M +
                              R"(,"n":{"N":"0"}})");
}

TEST(PlainItem, OtherFormsAreLeftToTheReader)
{
    for (const char* stored : {"",
                               "{",
                               "}",
                               "[]",
                               "{}x",
                               R"({"a":{"S":"x"})",
                               R"({"a":{"S":"x"}}})",
                               R"({"a":{"S":"x"},})",
                               R"({ "a":{"S":"x"}})",
                               R"({"a": {"S":"x"}})",
                               R"({"a":{"S":"\n"}})",
                               R"({"\u0061":{"S":"x"}})",
                               "{\"a\":{\"S\":\"\n\"}}",
                               R"({"a":{"S":1}})",
                               R"({"a":"x"})",
                               R"({"a":{"S":"x","N":"1"}})",
                               R"({"b":{"S":"x"},"a":{"S":"x"}})",
                               R"({"a":{"S":"x"},"a":{"S":"x"}})",
                               R"({"":{"S":"x"}})",
                               R"({"d":{"S":"x"}})",
                               R"({"m":{"N":"1"}})",
                               R"({"a":{"B":"eA=="}})",
                               R"({"a":{"Z":"x"}})",
                               R"({"a":{}})",
                               R"({"a":{"SS":["x"]}})",
                               R"({"a":{"BOOL":true}})",
                               R"({"a":{"L":[]}})",
                               R"({"a":{"M":{}}})"})
        EXPECT_EQ(shown(stored), "other") << stored;
    for (const char* number : {"", "-", "01", "-0", "1.0", ".5", "5.", "1e3", "+1", "1.2.3", "1 ", "0x1", "1.50", "00",
                               "-01", "--1", "1234567890123456789"})
        EXPECT_EQ(shown(R"({"a":{"N":")" + std::string(number) + "\"}}"), "other") << number;
}

TEST(PlainItem, IsWhatReadingShows)
{
    ItemMaker make(17);
    int plain = 0;
    for (int round = 0; round < 20'000; ++round) {
        Item item;
        for (std::size_t count = make.upTo(5); count > 0; --count) {
            const bool isText = make.upTo(2) == 0;
            item.insert_or_assign(make.characters(1 + make.upTo(2), 'a', 16),
                                  make.upTo(10) == 0 ? make.value(1)
                                  : isText           ? AttributeValue::ofString(make.characters(make.upTo(9), 30, 80))
                                                     : AttributeValue::ofNumber(make.number(9)));
        }
        std::string stored = Items::jsonOf(item);
        for (std::size_t damages = make.upTo(3); damages > 0; --damages)
            stored[make.upTo(stored.size())] = make.characters(1, ' ', 95).front();
        const std::string json = shown(stored);
        if (json == "other")
            continue;
        ++plain;
        ASSERT_EQ(json, shownByReading(stored, Keys)) << stored;
    }
    EXPECT_GT(plain, 2'000);
}

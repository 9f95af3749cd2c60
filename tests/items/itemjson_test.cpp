#include "items/itemjson.h"

#include "itemmaker.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Items::AttributeValue;
using Items::Item;
using Items::JsonError;

/** The text of the item that `json` is, or the message of its refusal. */
std::string rewritten(const std::string& json)
{
    Item item = {{"before", AttributeValue::ofNull()}};
    JsonError error;
    return Items::readItem(parsedJson(json), &item, &error) ? Items::jsonOf(item) : error.message;
}

TEST(ItemJson, HasTenTypes)
{
    const std::string json = R"({"b":{"B":"Zm9v"},"bool":{"BOOL":false},"bs":{"BS":["","Zg==","Zm9v"]},)"
                             R"("l":{"L":[{"S":"x"},{"L":[]},{"N":"1"}]},"m":{"M":{"":{"S":"x"},"y":{"M":{}}}},)"
                             R"("n":{"N":"-1.5"},"ns":{"NS":["-2","0","10"]},"null":{"NULL":true},)"
                             R"("s":{"S":"größer ✓"},"ss":{"SS":["","a","b"]}})";
    EXPECT_EQ(rewritten(json), json);

    Item item;
    JsonError error;
    ASSERT_TRUE(Items::readItem(parsedJson(json), &item, &error));
    EXPECT_EQ(item.size(), AttributeValue::TypeCount);
    EXPECT_EQ(*item["b"].asBinary(), "foo");
    EXPECT_FALSE(*item["bool"].asBool());
    EXPECT_EQ(item["bs"].asBinarySet()->size(), 3u);
    EXPECT_EQ(item["l"].asList()->at(2), AttributeValue::ofNumber(Decimal::Number::parse("1").value()));
    EXPECT_EQ(*item["m"].asMap()->at("").asString(), "x");
    EXPECT_EQ(item["n"].asNumber()->text(), "-1.5");
    EXPECT_TRUE(item["null"].isNull());
    EXPECT_EQ(*item["s"].asString(), "größer ✓");
}

TEST(ItemJson, IsWrittenInOneWay)
{
    EXPECT_EQ(rewritten(R"( { "z" : { "N" : "1e3" } , "a" : { "SS" : [ "c", "a", "b" ] } } )"),
              R"({"a":{"SS":["a","b","c"]},"z":{"N":"1000"}})");
    EXPECT_EQ(rewritten(R"({"n":{"NS":["10","9.50","-1","1e1000e"]}})"),
              "The parameter cannot be converted to a numeric value: 1e1000e");
    EXPECT_EQ(rewritten(R"({"n":{"NS":["10","9.50","-1"]},"b":{"BS":["/w==","AA=="]}})"),
              R"({"b":{"BS":["AA==","/w=="]},"n":{"NS":["-1","9.5","10"]}})");
    EXPECT_EQ(rewritten(R"({"ä":{"S":"\u00e4\/\u0001\u2713"},"b":{"S":"\ud83d\ude00\"\\"}})"),
              "{\"b\":{\"S\":\"😀\\\"\\\\\"},\"ä\":{\"S\":\"ä/\\u0001✓\"}}");
    EXPECT_EQ(rewritten(R"({"a":{"S":"1"},"a":{"S":"2"}})"), R"({"a":{"S":"2"}})") << "the last of two equal names";
    EXPECT_EQ(rewritten(R"({})"), "{}");
    EXPECT_EQ(rewritten(R"({"a":{"S":"x","N":null,"Other":7}})"), R"({"a":{"S":"x"}})");
    EXPECT_EQ(rewritten("{\"a\":{\"S\":\"\\u0000x\"}}"), "{\"a\":{\"S\":\"\\u0000x\"}}");
}

TEST(ItemJson, RandomItemsSurvive)
{
    ItemMaker maker(5);
    for (int i = 0; i < 3000; ++i) {
        const Item item = {{"a", maker.value(4)}, {"b" + maker.utf8(3), maker.value(2)}};
        const std::string json = Items::jsonOf(item);
        Item read;
        JsonError error;
        ASSERT_TRUE(Items::readItem(parsedJson(json), &read, &error)) << json << error.message;
        ASSERT_EQ(read, item) << json;
        ASSERT_EQ(Items::jsonOf(read), json);
    }
}

/** An attribute in `levels` lists and maps, in turn. */
std::string nested(int levels)
{
    std::string front;
    std::string back;
    for (int i = 0; i < levels; ++i) {
        front += i % 2 == 0 ? R"({"L":[)" : R"({"M":{"a":)";
        back += i % 2 == 0 ? "}]" : "}}";
    }
    return R"({"a":)" + front + R"({"S":"x"})" + std::string(back.rbegin(), back.rend()) + "}";
}

TEST(ItemJson, IsNestedToThirtyTwoLevels)
{
    const std::string tooDeep = "One or more parameter values were invalid: Nesting Levels have exceeded supported "
                                "limits: Attributes in the item have nested levels beyond supported limit";
    EXPECT_EQ(rewritten(nested(31)), nested(31));
    EXPECT_EQ(rewritten(nested(32)), nested(32));
    EXPECT_EQ(rewritten(nested(33)), tooDeep);
    EXPECT_EQ(rewritten(nested(100000)), tooDeep);

    Item item;
    JsonError error;
    ASSERT_TRUE(Items::readItem(parsedJson(nested(32)), &item, &error));
    EXPECT_EQ(levelsOf(item["a"]), Items::MostLevels);
    std::string side = nested(32);
    side.insert(side.size() - 1, R"(,"b":)" + nested(32).substr(5, nested(32).size() - 6));
    EXPECT_EQ(rewritten(side), side) << "levels do not add up";
}

} // namespace

#include "items/itemsize.h"

#include "itemmaker.h"
#include "items/itemjson.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

struct Sized {
    std::string json;
    std::size_t bytes;
};

TEST(ItemSize, IsCountedAsDocumented)
{
    const std::vector<Sized> values = {
        {R"({"S":""})", 0},
        {R"({"S":"abc"})", 3},
        {R"({"S":"größer ✓"})", 12},
        {R"({"B":"Zm9v"})", 3},
        {R"({"BOOL":false})", 1},
        {R"({"NULL":true})", 1},
        {R"({"N":"0"})", 1},
        {R"({"N":"7"})", 2},
        {R"({"N":"17"})", 2},
        {R"({"N":"-17"})", 2},
        {R"({"N":"123"})", 3},
        {R"({"N":"1e125"})", 2},
        {R"({"N":"0.00120"})", 2},
        {R"({"N":"99999999999999999999999999999999999999"})", 20},
        {R"({"L":[]})", 3},
        {R"({"L":[{"S":"abc"},{"NULL":true}]})", 3 + 1 + 3 + 1 + 1},
        {R"({"M":{}})", 3},
        {R"({"M":{"ab":{"S":"abc"},"c":{"L":[]}}})", 3 + 1 + 2 + 3 + 1 + 1 + 3},
        {R"({"SS":["a","bcd"]})", 4},
        {R"({"NS":["1","234"]})", 5},
        {R"({"BS":["Zm9v","Zg=="]})", 4},
    };
    for (const Sized& sized : values) {
        Items::Item item;
        Items::JsonError error;
        ASSERT_TRUE(Items::readItem(parsedJson(R"({"äb":)" + sized.json + "}"), &item, &error)) << error.message;
        EXPECT_EQ(Items::sizeOf(item.begin()->second), sized.bytes) << sized.json;
        EXPECT_EQ(Items::sizeOfItem(item), 3 + sized.bytes) << sized.json;
    }
    EXPECT_EQ(Items::sizeOfItem({}), 0u);
    EXPECT_EQ(Items::MostItemBytes, 409600u);
}

} // namespace

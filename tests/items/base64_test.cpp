#include "items/base64.h"

#include "itemmaker.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

namespace Base64 = Items::Base64;

struct Pair {
    std::string bytes;
    std::string text;
};

TEST(Base64, IsWrittenAndReadWithPadding)
{
    const std::vector<Pair> pairs = {
        {"", ""},         {"f", "Zg=="},        {"fo", "Zm8="},
        {"foo", "Zm9v"},  {"foob", "Zm9vYg=="}, {std::string(3, '\0'), "AAAA"},
        {"\xff", "/w=="}, {"\xfb\xff", "+/8="}, {std::string("\0\x10\x83\x10\x51\x87\x20\x92\x8b", 9), "ABCDEFGHIJKL"}};
    for (const Pair& pair : pairs) {
        EXPECT_EQ(Base64::encode(pair.bytes), pair.text);
        std::string bytes = "before";
        std::string why;
        EXPECT_TRUE(Base64::decode(pair.text, &bytes, &why)) << pair.text << why;
        EXPECT_EQ(bytes, pair.bytes) << pair.text;
    }
}

TEST(Base64, RandomBytesSurvive)
{
    ItemMaker maker(2);
    for (std::size_t size = 0; size < 300; ++size) {
        const std::string bytes = maker.bytes(size);
        std::string read;
        std::string why;
        ASSERT_TRUE(Base64::decode(Base64::encode(bytes), &read, &why)) << why;
        ASSERT_EQ(read, bytes);
    }
}

struct NotBase64 {
    std::string text;
    std::string why;
};

TEST(Base64, AnythingElseIsRefused)
{
    const std::string length = "Base64 encoded length is expected a multiple of 4 bytes but found: ";
    const std::string last = "Invalid last non-pad Base64 character dectected";
    const std::vector<NotBase64> all = {{"Z", length + "1"},
                                      {"Zg", length + "2"},
                                      {"Zg=", length + "3"},
                                      {"Zm9vYg", length + "6"},
                                      {"Zg==\n", length + "5"},
                                      {"====", "Invalid Base64 character: '='"},
                                      {"Z===", "Invalid Base64 character: '='"},
                                      {"Zg==Zg==", "Invalid Base64 character: '='"},
                                      {"Z=g=", "Invalid Base64 character: '='"},
                                      {"Zm 9", "Invalid Base64 character: ' '"},
                                      {"Zm-_", "Invalid Base64 character: '-'"},
                                      {"Zm\n9", "Invalid Base64 character: '\n'"},
                                      {"Zh==", last},
                                      {"Zm9=", last}};
    for (const NotBase64& refused : all) {
        std::string bytes;
        std::string why;
        EXPECT_FALSE(Base64::decode(refused.text, &bytes, &why)) << refused.text;
        EXPECT_EQ(why, refused.why) << refused.text;
    }
}

} // namespace

#include "items/base85.h"

#include "itemmaker.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>

namespace {

namespace Base85 = Items::Base85;

TEST(Base85, StandsInPlainCharacters)
{
    EXPECT_EQ(Base85::encode(""), "");
    EXPECT_EQ(Base85::encode(std::string(1, '\0')), "%%");
    EXPECT_EQ(Base85::encode(std::string(4, '\0')), "%%%%%");
    EXPECT_EQ(Base85::encode("\xff\xff\xff\xff"), "x<[1%");
    EXPECT_EQ(Base85::encode("\xff"), "ww");
    EXPECT_EQ(Base85::encode("Quorva"), "?4CjyK(y");
}

TEST(Base85, RandomBytesSurvive)
{
    ItemMaker maker(3);
    for (int i = 0; i < 20000; ++i) {
        const std::string a = maker.characters(maker.upTo(10), maker.upTo(2) * 250, 6);
        const std::string b = maker.bytes(a.size());
        const std::string textA = Base85::encode(a);
        ASSERT_EQ(Base85::decode(textA), a);
        ASSERT_EQ(textA <=> Base85::encode(b), a <=> b);
        ASSERT_EQ(textA.size(), a.size() + (a.size() + 3) / 4);
        ASSERT_TRUE(std::all_of(textA.begin(), textA.end(), [](char c) {
            return c >= Base85::First && c <= Base85::Last && c != '\\' && c != '"';
        }));
    }
}

TEST(Base85, EveryTextIsThatOfItsBytesOrOfNone)
{
    for (const char* text : {"%", "%%%%%%", "\\\\", "%%\"", "{{", "  ", "$$", "ww\x80", "zzzzz", "x<[1&", "zz", "wv"})
        EXPECT_EQ(Base85::decode(text), std::nullopt) << text;
    ItemMaker maker(4);
    for (int i = 0; i < 20000; ++i) {
        const std::string text = maker.characters(maker.upTo(8), '"', 'z' - '"');
        const auto bytes = Base85::decode(text);
        ASSERT_TRUE(!bytes || Base85::encode(*bytes) == text) << text;
    }
}

} // namespace

#include "items/utf8.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

TEST(Utf8, IsRecognised)
{
    const std::vector<std::string> good = {"",
                                           "a",
                                           std::string("\0", 1),
                                           "\x7f",
                                           "\xc2\x80",
                                           "\xdf\xbf",
                                           "\xe0\xa0\x80",
                                           "\xed\x9f\xbf",
                                           "\xee\x80\x80",
                                           "\xef\xbf\xbf",
                                           "\xf0\x90\x80\x80",
                                           "\xf4\x8f\xbf\xbf",
                                           "a\xc3\xa9z\xe2\x9c\x93"};
    for (const std::string& text : good)
        EXPECT_TRUE(Items::isUtf8(text)) << testing::PrintToString(text);
    const std::vector<std::string> bad = {"\x80",
                                          "\xbf",
                                          "\xc0\x80",
                                          "\xc1\xbf",
                                          "\xc3",
                                          "\xc3z",
                                          "\xe0\x9f\xbf",
                                          "\xe2\x9c",
                                          "\xe2\x9cz",
                                          "\xed\xa0\x80",
                                          "\xed\xbf\xbf",
                                          "\xf0\x8f\xbf\xbf",
                                          "\xf4\x90\x80\x80",
                                          "\xf0\x90\x80",
                                          "\xf5\x80\x80\x80",
                                          "\xf8\x88\x80\x80\x80",
                                          "\xfe",
                                          "\xff",
                                          "a\xff"};
    for (const std::string& text : bad)
        EXPECT_FALSE(Items::isUtf8(text)) << testing::PrintToString(text);
}

} // namespace

#include "json/jsoncharacters.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

namespace {

using Json::Plain::Bytes;

/** The same, byte by byte. */
template <Bytes kind> qsizetype countSlowly(const std::string& text)
{
    return std::find_if_not(text.begin(), text.end(),
                            [](char byte) { return Json::Plain::is<kind>(static_cast<unsigned char>(byte)); }) -
           text.begin();
}

template <Bytes kind> void expectCounted(const std::string& text)
{
    const auto exact = std::make_unique<char[]>(text.size()); // AddressSanitizer sees what is read beyond it
    std::copy(text.begin(), text.end(), exact.get());
    EXPECT_EQ(Json::Plain::count<kind>(exact.get(), exact.get() + text.size()), countSlowly<kind>(text))
        << testing::PrintToString(text);
}

} // namespace

TEST(PlainCount, StopsAtEachOtherByteWhereverItIs)
{
    for (std::size_t length = 0; length <= 40; ++length) {
        const std::string plain(length, 'a');
        expectCounted<Bytes::Plain>(plain);
        expectCounted<Bytes::Literal>(plain);
        for (std::size_t at = 0; at < length; ++at) {
            for (const char other : {'"', '\\', '\0', '\x1f', '\x7f', ' ', '!', '#', '\x80', '\xff'}) {
                std::string text = plain;
                text[at] = other;
                expectCounted<Bytes::Plain>(text);
                expectCounted<Bytes::Literal>(text);
            }
        }
    }
}

TEST(PlainCount, KnowsEveryByte)
{
    for (int byte = 0; byte < 256; ++byte) {
        for (const std::size_t length : {1, 16, 17}) {
            expectCounted<Bytes::Plain>(std::string(length, static_cast<char>(byte)));
            expectCounted<Bytes::Literal>(std::string(length, static_cast<char>(byte)));
        }
    }
    EXPECT_TRUE(Json::Plain::is<Bytes::Plain>('a'));
    EXPECT_FALSE(Json::Plain::is<Bytes::Plain>(0x80));
    EXPECT_TRUE(Json::Plain::is<Bytes::Literal>(0x80));
}

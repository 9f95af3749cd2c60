#include "format/checksum.h"

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(Checksum, IsTheOneOfTheField)
{
    EXPECT_EQ(Checksum::of("123456789"), 0x995dc9bbdf1939faU); // the check value that goes with the polynomial
    EXPECT_EQ(Checksum::of(""), 0U);
}

TEST(Checksum, IsTheSameInWhateverPiecesTheBytesCome)
{
    std::string bytes;
    for (int i = 0; i < 100; ++i)
        bytes += static_cast<char>(i * 37);
    const std::uint64_t whole = Checksum::of(bytes);
    for (std::size_t first = 0; first <= bytes.size(); ++first) {
        Checksum checksum;
        checksum.add(std::string_view(bytes).substr(0, first));
        checksum.add(std::string_view(bytes).substr(first));
        EXPECT_EQ(checksum.value(), whole) << first;
    }
}

TEST(Checksum, FindsEveryBitThatChanged)
{
    std::string bytes(40, 'x');
    const std::uint64_t before = Checksum::of(bytes);
    for (std::size_t bit = 0; bit < bytes.size() * 8; ++bit) {
        bytes[bit / 8] = static_cast<char>(bytes[bit / 8] ^ (1 << (bit % 8)));
        EXPECT_NE(Checksum::of(bytes), before) << bit;
        bytes[bit / 8] = 'x';
    }
}

} // namespace

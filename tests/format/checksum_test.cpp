#include "format/checksum.h"

#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <fstream>
#include <string>

namespace {

TEST(Checksum, IsTheOneOfTheField)
{
    EXPECT_EQ(Checksum::of("123456789"), 0x995dc9bbdf1939faU); // the published check value of the polynomial
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

TEST(Checksum, AddsAPartOfAFile)
{
    const TempDir directory;
    const std::string path = directory.file("file");
    const std::string bytes = std::string(300000, 'x') + "123456789" + "behind";
    std::ofstream(path, std::ios::binary) << bytes;
    Checksum whole;
    EXPECT_EQ(whole.addFile(path, 0, bytes.size()), 0);
    EXPECT_EQ(whole.value(), Checksum::of(bytes));
    Checksum part;
    EXPECT_EQ(part.addFile(path, 300000, 9), 0);
    EXPECT_EQ(part.value(), Checksum::of("123456789"));
}

TEST(Checksum, AFileThatEndsBeforeOrIsNotThereIsAnError)
{
    const TempDir directory;
    const std::string path = directory.file("file");
    std::ofstream(path, std::ios::binary) << "12345";
    Checksum checksum;
    EXPECT_EQ(checksum.addFile(path, 0, 6), ENODATA);
    EXPECT_EQ(checksum.addFile(path, 6, 1), ENODATA);
    EXPECT_EQ(checksum.addFile(directory.file("missing"), 0, 1), ENOENT);
}

} // namespace

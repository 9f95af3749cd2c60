#include "format/checksum.h"

#include "base/descriptor.h"
#include "base/fileio.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstddef>
#include <vector>

#include <fcntl.h>

namespace {

constexpr std::size_t Width = 8; // bytes processed at once
using Table = std::array<std::array<std::uint64_t, 256>, Width>;

/** Row n has the remainders of a byte followed by n zero bytes. */
constexpr Table makeTable()
{
    constexpr std::uint64_t polynomial = 0xc96c5795d7870f42;
    Table table{};
    for (std::uint64_t byte = 0; byte < 256; ++byte) {
        std::uint64_t remainder = byte;
        for (int bit = 0; bit < 8; ++bit)
            remainder = (remainder >> 1) ^ ((remainder & 1) != 0 ? polynomial : 0);
        table[0][byte] = remainder;
    }
    for (std::size_t row = 1; row < Width; ++row) {
        for (std::size_t byte = 0; byte < 256; ++byte)
            table[row][byte] = (table[row - 1][byte] >> 8) ^ table[0][table[row - 1][byte] & 0xff];
    }
    return table;
}

constexpr Table Remainders = makeTable();

} // namespace

void Checksum::add(std::string_view bytes)
{
    std::uint64_t remainder = remainder_;
    for (; bytes.size() >= Width; bytes.remove_prefix(Width)) {
        std::uint64_t block = 0;
        for (std::size_t i = 0; i < Width; ++i) // little-endian, regardless of the processor
            block |= std::uint64_t{static_cast<unsigned char>(bytes[i])} << (8 * i);
        block ^= remainder;
        remainder = 0;
        for (std::size_t i = 0; i < Width; ++i)
            remainder ^= Remainders[Width - 1 - i][(block >> (8 * i)) & 0xff];
    }
    for (const char byte : bytes)
        remainder = (remainder >> 8) ^ Remainders[0][(remainder ^ static_cast<unsigned char>(byte)) & 0xff];
    remainder_ = remainder;
}

int Checksum::addFile(const std::filesystem::path& file, std::uint64_t offset, std::uint64_t size)
{
    const Base::Descriptor from(::open(file.c_str(), O_RDONLY | O_CLOEXEC));
    if (!from.isOpen())
        return errno;
    std::vector<char> buffer(256 * 1024);
    while (size > 0) {
        const std::size_t wanted = std::min<std::uint64_t>(buffer.size(), size);
        std::size_t got = 0;
        if (const int rc = Base::readAt(from.number(), static_cast<off_t>(offset), buffer.data(), wanted, &got))
            return rc;
        if (got < wanted)
            return ENODATA;
        add({buffer.data(), got});
        offset += got;
        size -= got;
    }
    return 0;
}

std::uint64_t Checksum::of(std::string_view bytes)
{
    Checksum checksum;
    checksum.add(bytes);
    return checksum.value();
}

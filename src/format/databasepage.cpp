#include "format/databasepage.h"

#include <algorithm>
#include <array>
#include <cstring>

namespace DatabasePage {

namespace {

constexpr std::uint32_t TreeMagic = 0x053162;
constexpr std::size_t SmallestPage = 512;
constexpr std::size_t LargestPage = 65536;

constexpr std::size_t HeaderBytes = 26;
constexpr std::size_t OffsetBytes = 2;     // of an item, after the header
constexpr std::size_t ItemHeaderBytes = 3; // length and kind
constexpr unsigned ChainPage = 7;
constexpr unsigned BytesItem = 1;
constexpr unsigned ChainItem = 3;

constexpr std::uint32_t HasChecksums = 1;
constexpr std::uint32_t HasSubDatabases = 32;

/** The number at the beginning of `bytes`; 0 if there are too few. */
template <typename Number> Number read(std::string_view bytes)
{
    Number number = 0;
    if (bytes.size() >= sizeof number)
        std::memcpy(&number, bytes.data(), sizeof number);
    return number;
}

} // namespace

bool isMagic(std::uint32_t number)
{
    constexpr std::array<std::uint32_t, 4> Magics = {TreeMagic, 0x061561, 0x042253, 0x074582}; // hash, queue, heap
    return std::any_of(Magics.begin(), Magics.end(),
                       [number](std::uint32_t magic) { return number == magic || number == __builtin_bswap32(magic); });
}

std::uint32_t subDatabasePage(std::string_view value)
{
    std::uint32_t number = 0;
    for (const char byte : value)
        number = number << 8 | static_cast<unsigned char>(byte);
    return number;
}

void Page::detectByteOrder()
{
    swapped_ = read<std::uint32_t>(part(12, 4)) == __builtin_bswap32(TreeMagic);
}

bool Page::isReadableTree() const
{
    const std::size_t size = pageBytes();
    return number(12) == TreeMagic && byte(24) == 0 && (byte(26) & HasChecksums) == 0 && size >= SmallestPage &&
           size <= LargestPage && (size & (size - 1)) == 0;
}

bool Page::hasSubDatabases() const
{
    return (number(48) & HasSubDatabases) != 0;
}

Item Page::item(unsigned index) const
{
    if (index >= items())
        return {};
    const std::size_t offset = half(HeaderBytes + index * OffsetBytes);
    if (isInner())
        return {Item::None, {}, number(offset + 4), 0};
    switch (byte(offset + 2)) {
    case BytesItem:
        return {Item::Bytes, part(offset + ItemHeaderBytes, half(offset)), 0, 0};
    case ChainItem:
        return {Item::Chain, {}, number(offset + 4), number(offset + 8)};
    default:
        return {};
    }
}

std::string_view Page::chainPart() const
{
    return kind() == ChainPage ? part(HeaderBytes, half(22)) : std::string_view();
}

unsigned Page::byte(std::size_t offset) const
{
    return read<std::uint8_t>(part(offset, 1));
}

unsigned Page::half(std::size_t offset) const
{
    const auto value = read<std::uint16_t>(part(offset, 2));
    return swapped_ ? __builtin_bswap16(value) : value;
}

std::uint32_t Page::number(std::size_t offset) const
{
    const auto value = read<std::uint32_t>(part(offset, 4));
    return swapped_ ? __builtin_bswap32(value) : value;
}

std::string_view Page::part(std::size_t offset, std::size_t size) const
{
    return offset <= bytes.size() && size <= bytes.size() - offset ? std::string_view(bytes).substr(offset, size)
                                                                   : std::string_view();
}

} // namespace DatabasePage

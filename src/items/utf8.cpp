#include "items/utf8.h"

#include <cstddef>
#include <cstdint>

namespace Items {

namespace {

/** Bytes of the character that begins with `first`, by its leading one bits. 0 if none does. */
std::size_t lengthOf(unsigned char first)
{
    if (first < 0x80)
        return 1;
    return first >> 5 == 0x06 ? 2 : first >> 4 == 0x0e ? 3 : first >> 3 == 0x1e ? 4 : 0;
}

bool isCharacter(std::string_view bytes)
{
    constexpr std::uint32_t Least[] = {0, 0, 0x80, 0x800, 0x10000}; // by length
    auto character = static_cast<std::uint32_t>(static_cast<unsigned char>(bytes.front())) & (0x7fU >> bytes.size());
    for (const char byte : bytes.substr(1)) {
        if ((byte & 0xc0) != 0x80)
            return false;
        character = character << 6 | (byte & 0x3f);
    }
    const bool isSurrogate = character >= 0xd800 && character <= 0xdfff;
    return character >= Least[bytes.size()] && character <= 0x10ffff && !isSurrogate;
}

} // namespace

bool isUtf8(std::string_view text)
{
    while (!text.empty()) {
        const auto first = static_cast<unsigned char>(text.front());
        const std::size_t length = lengthOf(first);
        if (length == 0 || length > text.size() || (length > 1 && !isCharacter(text.substr(0, length))))
            return false;
        text.remove_prefix(length);
    }
    return true;
}

} // namespace Items

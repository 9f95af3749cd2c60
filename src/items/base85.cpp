#include "items/base85.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>

namespace Items {

namespace {

using Base85::GroupBytes;
constexpr std::size_t GroupCharacters = 5;
constexpr std::array<std::uint32_t, GroupCharacters> Powers = {85 * 85 * 85 * 85, 85 * 85 * 85, 85 * 85, 85, 1};

char characterOf(std::uint32_t digit)
{
    const auto character = static_cast<char>(Base85::First + digit);
    return character < '\\' ? character : static_cast<char>(character + 1);
}

/** The value of a character; 85 if it has none. */
std::uint32_t digitOf(char character)
{
    if (character < Base85::First || character > Base85::Last || character == '\\')
        return 85;
    return static_cast<std::uint32_t>(character - Base85::First - (character > '\\' ? 1 : 0));
}

/** Up to 4 bytes as a number, with zeros in place of those that are missing. */
std::uint32_t numberOf(std::string_view bytes)
{
    std::uint32_t number = 0;
    for (std::size_t i = 0; i < GroupBytes; ++i)
        number = number << 8 | (i < bytes.size() ? static_cast<unsigned char>(bytes[i]) : 0);
    return number;
}

/** Appends as many of the group's bytes as it has characters but one; false for what is no group. */
bool decodeGroup(std::string_view group, std::string* bytes)
{
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < group.size(); ++i) {
        const std::uint32_t digit = digitOf(group[i]);
        if (digit == 85)
            return false;
        number += std::uint64_t{digit} * Powers[i];
    }
    // The missing characters were truncated, so their value must be rounded up to whole bytes.
    const std::size_t count = group.size() - 1;
    const int bits = static_cast<int>(8 * (GroupBytes - count));
    number = (number + (std::uint64_t{1} << bits) - 1) >> bits << bits;
    if (number > 0xffffffff)
        return false;
    for (std::size_t i = 0; i < count; ++i)
        *bytes += static_cast<char>(number >> (24 - 8 * i) & 0xff);
    return true;
}

} // namespace

std::string Base85::encode(std::string_view bytes)
{
    std::string text;
    text.reserve((bytes.size() + GroupBytes - 1) / GroupBytes * GroupCharacters);
    for (std::size_t i = 0; i < bytes.size(); i += GroupBytes) {
        const std::string_view group = bytes.substr(i, GroupBytes);
        const std::uint32_t number = numberOf(group);
        for (std::size_t j = 0; j <= group.size(); ++j)
            text += characterOf(number / Powers[j] % 85);
    }
    return text;
}

std::optional<std::string> Base85::decode(std::string_view text)
{
    std::string bytes;
    bytes.reserve(text.size() / GroupCharacters * GroupBytes + GroupBytes);
    for (std::size_t i = 0; i < text.size(); i += GroupCharacters) {
        if (!decodeGroup(text.substr(i, GroupCharacters), &bytes))
            return {};
    }
    // Several texts round up to the same bytes; one of them is encode()'s.
    const std::size_t last = text.size() - text.size() % GroupCharacters;
    if (encode(std::string_view(bytes).substr(last / GroupCharacters * GroupBytes)) != text.substr(last))
        return {};
    return bytes;
}

} // namespace Items

#include "items/base64.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace Items {

namespace {

constexpr std::string_view Alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
constexpr std::size_t GroupBytes = 3;
constexpr std::size_t GroupCharacters = 4;
constexpr std::uint8_t Foreign = 0xff;

constexpr std::array<std::uint8_t, 256> makeDigits()
{
    std::array<std::uint8_t, 256> digits = {};
    digits.fill(Foreign);
    for (std::size_t i = 0; i < Alphabet.size(); ++i)
        digits[static_cast<unsigned char>(Alphabet[i])] = static_cast<std::uint8_t>(i);
    return digits;
}

constexpr std::array<std::uint8_t, 256> Digits = makeDigits();

} // namespace

std::string Base64::encode(std::string_view bytes)
{
    std::string text;
    text.reserve((bytes.size() + GroupBytes - 1) / GroupBytes * GroupCharacters);
    for (std::size_t i = 0; i < bytes.size(); i += GroupBytes) {
        const std::string_view group = bytes.substr(i, GroupBytes);
        std::uint32_t bits = 0;
        for (std::size_t j = 0; j < GroupBytes; ++j)
            bits = bits << 8 | (j < group.size() ? static_cast<unsigned char>(group[j]) : 0);
        for (std::size_t j = 0; j < GroupCharacters; ++j)
            text += j <= group.size() ? Alphabet[bits >> (18 - 6 * j) & 0x3f] : '=';
    }
    return text;
}

bool Base64::decode(std::string_view text, std::string* bytes, std::string* why)
{
    if (text.size() % GroupCharacters != 0) {
        *why = "Base64 encoded length is expected a multiple of 4 bytes but found: " + std::to_string(text.size());
        return false;
    }
    const std::size_t padding = text.ends_with("==") ? 2 : text.ends_with('=') ? 1 : 0;
    const std::string_view characters = text.substr(0, text.size() - padding);
    bytes->clear();
    bytes->reserve(text.size() / GroupCharacters * GroupBytes);
    std::uint32_t bits = 0;
    int bitCount = 0;
    for (const char c : characters) {
        const std::uint8_t digit = Digits[static_cast<unsigned char>(c)];
        if (digit == Foreign) {
            *why = "Invalid Base64 character: '" + std::string(1, c) + "'";
            return false;
        }
        bits = (bits << 6 | digit) & 0xffff;
        bitCount += 6;
        if (bitCount >= 8) {
            bitCount -= 8;
            *bytes += static_cast<char>(bits >> bitCount & 0xff);
        }
    }
    if ((bits & ((1U << bitCount) - 1)) != 0) {
        *why = "Invalid last non-pad Base64 character dectected"; // as the API spells it
        return false;
    }
    return true;
}

} // namespace Items

#include "items/keycodec.h"

#include "items/base85.h"
#include "items/utf8.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace Items {

namespace {

using Type = AttributeValue::Type;

// Strings: their UTF-8, up to the first byte 00 or 01. In front of that is a byte 01, and from there on each byte is
// increased by 1, which no byte of UTF-8 is too great for.
constexpr char Shift = '\x01';

bool isLow(char byte)
{
    return byte == '\x00' || byte == '\x01';
}

std::string encodeString(const std::string& utf8)
{
    const auto low = std::find_if(utf8.begin(), utf8.end(), isLow);
    std::string key(utf8.begin(), low);
    if (low == utf8.end())
        return key;
    key += Shift;
    std::transform(low, utf8.end(), std::back_inserter(key), [](char byte) { return static_cast<char>(byte + 1); });
    return key;
}

std::optional<std::string> decodeString(std::string_view key)
{
    const std::size_t shift = std::min(key.find(Shift), key.size());
    std::string utf8(key.substr(0, shift));
    for (const char byte : key.substr(std::min(shift + 1, key.size())))
        utf8 += static_cast<char>(byte - 1);
    if (utf8.empty() || encodeString(utf8) != key || !isUtf8(utf8))
        return {};
    return utf8;
}

// Numbers: "o" is 0. "p", three digits of the exponent, counted from the least one, and the number's digits are a
// number above 0. One below 0 has "n" in front, every digit subtracted from 9, and "~" behind, which follows all
// digits.
constexpr char Negative = 'n';
constexpr char Zero = 'o';
constexpr char Positive = 'p';
constexpr char NegativeEnd = '~';
constexpr std::size_t ExponentDigits = 3;

char nines(char digit)
{
    return static_cast<char>('0' + '9' - digit);
}

std::string encodeNumber(const Decimal::Number& number)
{
    if (number.isZero())
        return {Zero};
    std::string key = std::to_string(1000 + number.exponent() - Decimal::Number::LeastExponent); // with leading zeros
    for (const char digit : number.digits())
        key += static_cast<char>('0' + digit);
    key.front() = Positive;
    if (!number.isNegative())
        return key;
    std::transform(key.begin() + 1, key.end(), key.begin() + 1, nines);
    key.front() = Negative;
    return key + NegativeEnd;
}

std::optional<Decimal::Number> decodeNumber(std::string_view key)
{
    if (key == std::string_view(&Zero, 1))
        return Decimal::Number();
    if (key.empty() || (key.front() != Positive && key.front() != Negative))
        return {};
    const bool isNegative = key.front() == Negative;
    if (isNegative && key.back() != NegativeEnd)
        return {};
    std::string digits(key.substr(1, key.size() - (isNegative ? 2 : 1)));
    if (digits.size() <= ExponentDigits ||
        !std::all_of(digits.begin(), digits.end(), [](char c) { return c >= '0' && c <= '9'; }))
        return {};
    if (isNegative)
        std::transform(digits.begin(), digits.end(), digits.begin(), nines);
    const int exponent = std::stoi(digits.substr(0, ExponentDigits)) + Decimal::Number::LeastExponent;
    digits.erase(0, ExponentDigits);
    std::transform(digits.begin(), digits.end(), digits.begin(), [](char c) { return static_cast<char>(c - '0'); });
    return Decimal::Number::fromDigits(isNegative, digits, exponent);
}

// Binaries: base 85 of the bytes and of zeros up to whole groups, and behind it a character that says how many bytes of
// the last group are theirs. Those characters are below the others, so the end of a key comes before more bytes.
constexpr std::string_view LastGroupBytes = " !#$"; // 1 to 4

std::string groupsOf(std::string bytes, char padding)
{
    bytes.append((Base85::GroupBytes - bytes.size() % Base85::GroupBytes) % Base85::GroupBytes, padding);
    return Base85::encode(bytes);
}

std::string encodeBinary(const std::string& bytes)
{
    if (bytes.empty())
        return {};
    return groupsOf(bytes, '\0') + LastGroupBytes[(bytes.size() - 1) % Base85::GroupBytes];
}

std::optional<std::string> decodeBinary(std::string_view key)
{
    const std::size_t last = key.empty() ? std::string_view::npos : LastGroupBytes.find(key.back());
    if (last == std::string_view::npos)
        return {};
    auto bytes = Base85::decode(key.substr(0, key.size() - 1));
    if (!bytes || bytes->size() < Base85::GroupBytes)
        return {};
    bytes->resize(bytes->size() - Base85::GroupBytes + last + 1);
    if (encodeBinary(*bytes) != key)
        return {};
    return bytes;
}

std::optional<std::string> encodeLatin1(const std::string& utf8)
{
    auto bytes = KeyCodec::bytesOfJsonText(utf8);
    if (bytes && bytes->find('\0') != bytes->npos)
        return {};
    return bytes;
}

/** How many leading bytes are ASCII: all of most keys. */
std::size_t asciiLength(std::string_view bytes)
{
    const auto isOther = [](char c) { return static_cast<unsigned char>(c) >= 0x80; };
    return static_cast<std::size_t>(std::find_if(bytes.begin(), bytes.end(), isOther) - bytes.begin());
}

/** The text of a value for a form other than Number; null if it is of another type. */
const std::string* textOf(KeyCodec::Form form, const AttributeValue& value)
{
    return form == KeyCodec::Form::Binary ? value.asBinary() : value.asString();
}

std::optional<std::string> encodeText(KeyCodec::Form form, const std::string& text)
{
    if (form == KeyCodec::Form::Latin1)
        return encodeLatin1(text);
    return form == KeyCodec::Form::Binary ? encodeBinary(text) : encodeString(text);
}

} // namespace

AttributeValue::Type KeyCodec::typeOf(Form form)
{
    return form == Form::Number ? Type::Number : form == Form::Binary ? Type::Binary : Type::String;
}

std::optional<std::string> KeyCodec::encode(Form form, const AttributeValue& value)
{
    if (form == Form::Number)
        return value.asNumber() != nullptr ? std::optional(encodeNumber(*value.asNumber())) : std::nullopt;
    const std::string* const text = textOf(form, value);
    if (text == nullptr || text->empty())
        return {};
    return encodeText(form, *text);
}

std::optional<AttributeValue> KeyCodec::decode(Form form, std::string_view bytes)
{
    switch (form) {
    case Form::Number:
        if (const auto number = decodeNumber(bytes))
            return AttributeValue::ofNumber(*number);
        break;
    case Form::Binary:
        if (auto binary = decodeBinary(bytes))
            return AttributeValue::ofBinary(std::move(*binary));
        break;
    case Form::String:
        if (auto utf8 = decodeString(bytes))
            return AttributeValue::ofString(std::move(*utf8));
        break;
    case Form::Latin1:
        return AttributeValue::ofString(jsonText(bytes));
    }
    return {};
}

std::optional<KeyCodec::Bounds> KeyCodec::prefixBounds(Form form, const AttributeValue& prefix)
{
    const std::string* const text = form == Form::Number ? nullptr : textOf(form, prefix);
    auto low = text != nullptr ? encodeText(form, *text) : std::nullopt;
    if (!low)
        return {};
    if (form == Form::String)
        return Bounds{*low, *low + '\xff'}; // a byte that follows in none of them
    if (form == Form::Latin1)
        return Bounds{*low, *low + std::string(MostHashBytes, '\xff')};
    // Up to the greatest last group that begins with the prefix, and all that follows it.
    return Bounds{*low, groupsOf(*text, '\xff') + static_cast<char>(Base85::Last + 1)};
}

std::string KeyCodec::jsonText(std::string_view bytes)
{
    const std::size_t ascii = asciiLength(bytes);
    std::string utf8(bytes.substr(0, ascii));
    for (const char c : bytes.substr(ascii)) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte < 0x80) {
            utf8 += c;
        } else {
            utf8 += static_cast<char>(0xc0 | byte >> 6);
            utf8 += static_cast<char>(0x80 | (byte & 0x3f));
        }
    }
    return utf8;
}

std::optional<std::string> KeyCodec::bytesOfJsonText(std::string_view utf8)
{
    const std::size_t ascii = asciiLength(utf8);
    std::string bytes(utf8.substr(0, ascii));
    for (std::size_t i = ascii; i < utf8.size(); ++i) {
        const auto first = static_cast<unsigned char>(utf8[i]);
        if (first < 0x80) {
            bytes += utf8[i];
            continue;
        }
        const unsigned char second = i + 1 < utf8.size() ? static_cast<unsigned char>(utf8[i + 1]) : 0;
        if ((first != 0xc2 && first != 0xc3) || (second & 0xc0) != 0x80)
            return {};
        bytes += static_cast<char>((first & 0x03) << 6 | (second & 0x3f));
        ++i;
    }
    return bytes;
}

} // namespace Items

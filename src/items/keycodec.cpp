#include "items/keycodec.h"

#include <algorithm>

namespace Items {

namespace {

using Type = AttributeValue::Type;

// Texts: a byte that the server could not take becomes two, in an order and with beginnings that keep that of all.
// 00 -> 01 01, 01 -> 01 02, FE -> FE 01, FF -> FE 02; all others are themselves.
constexpr char LowEscape = '\x01';
constexpr char HighEscape = '\xfe';

std::string escaped(std::string_view bytes)
{
    std::string key;
    key.reserve(bytes.size());
    for (const char byte : bytes) {
        if (byte == '\x00' || byte == LowEscape)
            key.append({LowEscape, static_cast<char>(byte + 1)});
        else if (byte == HighEscape || byte == '\xff')
            key.append({HighEscape, byte == HighEscape ? '\x01' : '\x02'});
        else
            key += byte;
    }
    return key;
}

std::optional<std::string> unescaped(std::string_view key)
{
    std::string bytes;
    bytes.reserve(key.size());
    for (std::size_t i = 0; i < key.size(); ++i) {
        if (key[i] == '\x00' || key[i] == '\xff')
            return {};
        if (key[i] != LowEscape && key[i] != HighEscape) {
            bytes += key[i];
            continue;
        }
        if (i + 1 == key.size() || key[i + 1] < '\x01' || key[i + 1] > '\x02')
            return {};
        bytes += static_cast<char>(key[i] - (key[i] == LowEscape ? 1 : 0) + (key[i + 1] - 1));
        ++i;
    }
    return bytes;
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

/** The text of a string or binary key, or of a prefix of one; null if the form is for other values. */
const std::string* textOf(KeyCodec::Form form, const AttributeValue& value)
{
    if (form == KeyCodec::Form::Number)
        return nullptr;
    return form == KeyCodec::Form::Binary ? value.asBinary() : value.asString();
}

std::optional<std::string> encodeText(KeyCodec::Form form, const std::string& text)
{
    return form == KeyCodec::Form::Latin1 ? KeyCodec::bytesOfJsonText(text) : escaped(text);
}

template <typename Content, typename Argument>
std::optional<AttributeValue> valueOf(std::optional<Content> content, AttributeValue (*make)(Argument))
{
    if (!content)
        return {};
    return make(std::move(*content));
}

} // namespace

AttributeValue::Type KeyCodec::typeOf(Form form)
{
    return form == Form::Number ? Type::Number : form == Form::Binary ? Type::Binary : Type::String;
}

std::optional<std::string> KeyCodec::encode(Form form, const AttributeValue& value)
{
    if (value.type() != typeOf(form))
        return {};
    if (const Decimal::Number* number = value.asNumber())
        return encodeNumber(*number);
    const std::string* const text = textOf(form, value);
    if (text->empty())
        return {};
    return encodeText(form, *text);
}

std::optional<std::string> KeyCodec::encodePrefix(Form form, const AttributeValue& prefix)
{
    const std::string* const text = textOf(form, prefix);
    if (text == nullptr)
        return {};
    return encodeText(form, *text);
}

std::optional<AttributeValue> KeyCodec::decode(Form form, std::string_view bytes)
{
    if (form == Form::Number)
        return valueOf(decodeNumber(bytes), AttributeValue::ofNumber);
    if (form == Form::Latin1)
        return AttributeValue::ofString(jsonText(bytes));
    if (bytes.empty())
        return {};
    return valueOf(unescaped(bytes), form == Form::Binary ? AttributeValue::ofBinary : AttributeValue::ofString);
}

std::string KeyCodec::jsonText(std::string_view bytes)
{
    std::string utf8;
    utf8.reserve(bytes.size());
    for (const char c : bytes) {
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
    std::string bytes;
    bytes.reserve(utf8.size());
    for (std::size_t i = 0; i < utf8.size(); ++i) {
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

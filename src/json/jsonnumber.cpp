#include "json/jsonnumber.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace Json {

namespace {

/** Exponents are followed up to here; the digits of no text can bring a larger one back into a double's range. */
constexpr qint64 HugeExponent = qint64(1) << 48;

/**
 * True when the number is too small for a double rather than too large, given that it is one of the two: its first
 * digit other than zero then stands behind the decimal point.
 */
bool isUnderflow(std::string_view number)
{
    const std::size_t mark = std::min(number.find_first_of("eE"), number.size());
    const std::string_view digits = number.substr(0, mark);
    const auto point = static_cast<qint64>(std::min(digits.find('.'), digits.size()));
    const auto first = static_cast<qint64>(std::min(digits.find_first_of("123456789"), digits.size()));

    qint64 exponent = 0;
    bool negative = false;
    for (const char c : number.substr(mark)) {
        if (c == '-')
            negative = true;
        else if (c >= '0' && c <= '9')
            exponent = std::min(exponent * 10 + (c - '0'), HugeExponent);
    }
    return point - first + (negative ? -exponent : exponent) < 0;
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

/** The end of the number that begins at `begin`, or `begin` when what stands there is none. */
const char* endOfNumber(const char* begin, const char* end)
{
    const auto skipDigits = [end](const char* from) { return std::find_if_not(from, end, isDigit); };
    const char* const integer = begin != end && *begin == '-' ? begin + 1 : begin;
    const char* cursor = skipDigits(integer);
    if (cursor == integer || (*integer == '0' && cursor != integer + 1))
        return begin;
    if (cursor != end && *cursor == '.') {
        const char* const fraction = cursor + 1;
        cursor = skipDigits(fraction);
        if (cursor == fraction)
            return begin;
    }
    if (cursor != end && (*cursor == 'e' || *cursor == 'E')) {
        const char* const exponent = cursor + (end - cursor > 1 && (cursor[1] == '+' || cursor[1] == '-') ? 2 : 1);
        cursor = skipDigits(exponent);
        if (cursor == exponent)
            return begin;
    }
    return cursor;
}

/** The end of the string whose opening quote is at `begin`. */
char* endOfString(char* begin, char* end)
{
    char* cursor = begin + 1;
    while (cursor != end && *cursor != '"')
        cursor += *cursor == '\\' && end - cursor > 1 ? 2 : 1;
    return cursor == end ? end : cursor + 1;
}

} // namespace

QVariant numberFromText(std::string_view number)
{
    const char* begin = number.data();
    const char* end = begin + number.size();
    if (number.find_first_of(".eE") == std::string_view::npos) {
        qlonglong integer = 0;
        if (std::from_chars(begin, end, integer).ec == std::errc())
            return integer;
        qulonglong large = 0;
        if (std::from_chars(begin, end, large).ec == std::errc())
            return large;
    }
    double real = 0;
    // Out of range means too large as well as too small; only the first is an error.
    if (std::from_chars(begin, end, real).ec != std::errc()) {
        if (!isUnderflow(number))
            return QVariant();
        real = number.front() == '-' ? -0.0 : 0.0;
    }
    return real;
}

std::string_view shortestText(double number, DoubleText* room)
{
    char* end = std::to_chars(room->data(), room->data() + room->size(), number).ptr;
    const bool looksIntegral = std::none_of(room->data(), end, [](char c) { return c == '.' || c == 'e'; });
    if (looksIntegral) { // as it stands it would be read back as an integer
        *end++ = '.';
        *end++ = '0';
    }
    return {room->data(), static_cast<std::size_t>(end - room->data())};
}

void rewriteExtremeNumbers(QByteArray* text)
{
    char* const end = text->data() + text->size();
    for (char* cursor = text->data(); cursor != end;) {
        if (*cursor == '"') {
            cursor = endOfString(cursor, end);
            continue;
        }
        if (*cursor != '-' && !isDigit(*cursor)) {
            ++cursor;
            continue;
        }
        const auto length = endOfNumber(cursor, end) - cursor;
        // What begins like a number and is none ends the text for the reader too. To look for a number at each of its
        // digits instead would cost the square of their count.
        if (length == 0)
            return;
        const QVariant number = numberFromText({cursor, static_cast<std::size_t>(length)});
        if (number.typeId() == QMetaType::Double) {
            DoubleText room;
            const std::string_view shortest = shortestText(number.toDouble(), &room);
            if (static_cast<std::ptrdiff_t>(shortest.size()) <= length)
                std::fill(std::copy(shortest.begin(), shortest.end(), cursor), cursor + length, ' ');
        }
        cursor += length;
    }
}

} // namespace Json

#include "json/jsonnumber.h"

#include <algorithm>
#include <charconv>
#include <system_error>

namespace Json {

namespace {

/** Exponents saturate here; no text has enough digits to bring a larger one back into the range of a double. */
constexpr qint64 HugeExponent = qint64(1) << 48;

/**
 * Whether a number outside the range of a double is too small rather than too large: its first nonzero digit is then
 * after the decimal point.
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

/** The end of the number at `begin`, or `begin` if there is none. */
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
    // "Out of range" covers too large and too small; only the former is an error.
    if (std::from_chars(begin, end, real).ec != std::errc()) {
        if (!isUnderflow(number))
            return QVariant();
        real = number.front() == '-' ? -0.0 : 0.0;
    }
    return real;
}

std::string_view shortestText(double number, DoubleText* buffer)
{
    char* end = std::to_chars(buffer->data(), buffer->data() + buffer->size(), number).ptr;
    const bool looksIntegral = std::none_of(buffer->data(), end, [](char c) { return c == '.' || c == 'e'; });
    if (looksIntegral) { // otherwise it would read back as an integer
        *end++ = '.';
        *end++ = '0';
    }
    return {buffer->data(), static_cast<std::size_t>(end - buffer->data())};
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
        // The reader stops here as well: this starts like a number but is not one. Trying again at each of its digits
        // would take quadratic time.
        if (length == 0)
            return;
        const QVariant number = numberFromText({cursor, static_cast<std::size_t>(length)});
        if (number.typeId() == QMetaType::Double) {
            DoubleText buffer;
            const std::string_view shortest = shortestText(number.toDouble(), &buffer);
            if (static_cast<std::ptrdiff_t>(shortest.size()) <= length)
                std::fill(std::copy(shortest.begin(), shortest.end(), cursor), cursor + length, ' ');
        }
        cursor += length;
    }
}

} // namespace Json

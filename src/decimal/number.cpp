#include "decimal/number.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace Decimal {

namespace {

constexpr long long FarExponent = 1LL << 50; // above that of any number, and above the digits of any text

std::optional<Number> refuse(Refusal reason, Refusal* why)
{
    if (why != nullptr)
        *why = reason;
    return {};
}

bool isDigit(char c)
{
    return c >= '0' && c <= '9';
}

/** Takes the sign at the beginning of the text, if there is one. */
bool takeSign(std::string_view* text)
{
    const bool isNegative = text->starts_with('-');
    if (isNegative || text->starts_with('+'))
        text->remove_prefix(1);
    return isNegative;
}

/** An exponent, which may be as far out as the text likes: what is beyond FarExponent is reported as that. */
std::optional<long long> parseExponent(std::string_view text)
{
    const bool isNegative = takeSign(&text);
    if (text.empty() || !std::all_of(text.begin(), text.end(), isDigit))
        return {};
    long long exponent = 0;
    for (const char c : text)
        exponent = std::min(exponent * 10 + (c - '0'), FarExponent);
    return isNegative ? -exponent : exponent;
}

/** The significant digits of a text, as values, counted up to one more than a number can have. */
struct Digits {
    std::array<char, Number::MostDigits + 1> values = {};
    std::size_t count = 0;
    long long first = 0; // place of the first one, by the power of ten
    bool isNumeric = false;
};

/** Reads digits with at most one point. */
Digits parseDigits(std::string_view text)
{
    Digits digits;
    const std::size_t point = std::min(text.find('.'), text.size());
    long long place = static_cast<long long>(point) - 1;
    std::size_t read = 0; // since the first digit that is not 0
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (i == point)
            continue;
        if (!isDigit(text[i]))
            return {};
        digits.isNumeric = true;
        if (text[i] != '0' && read == 0)
            digits.first = place;
        if (text[i] != '0' || read > 0)
            ++read;
        if (text[i] != '0') {
            digits.count = std::min(read, digits.values.size());
            digits.values[digits.count - 1] = static_cast<char>(text[i] - '0');
        }
        --place;
    }
    return digits;
}

/** The place of the last digit, by the power of ten. */
int lastPlace(const Number& number)
{
    return number.exponent() - number.digitCount() + 1;
}

int compareMagnitudes(const Number& a, const Number& b)
{
    if (a.exponent() != b.exponent())
        return a.exponent() < b.exponent() ? -1 : 1;
    return a.digits().compare(b.digits());
}

/** A sum or difference in the making: a carry, and digits from the greatest place of either number downwards. */
class Column {
public:
    Column(const Number& a, const Number& b)
        : top_(std::max(a.exponent(), b.exponent()) + 1),
          size_(static_cast<std::size_t>(top_ - std::min(lastPlace(a), lastPlace(b)) + 1))
    {}

    /** Adds the digits of `number`, or takes them away with `sign` -1. */
    void put(const Number& number, int sign)
    {
        auto at = static_cast<std::size_t>(top_ - number.exponent());
        for (const char digit : number.digits())
            digits_[at++] += sign * digit;
    }

    /** Normalises every place to a digit; the value must not be negative. */
    void carry()
    {
        for (std::size_t i = size_ - 1; i > 0; --i) {
            const int over = digits_[i] < 0 ? -1 : digits_[i] / 10;
            digits_[i] -= 10 * over;
            digits_[i - 1] += over;
        }
    }

    std::optional<Number> number(bool isNegative, Refusal* why) const
    {
        const auto* const begin = digits_.data();
        const auto* const end = begin + size_;
        const auto isSignificant = [](int digit) { return digit != 0; };
        const auto* const first = std::find_if(begin, end, isSignificant);
        if (first == end)
            return Number();
        const auto* const last =
            std::find_if(std::reverse_iterator(end), std::reverse_iterator(first), isSignificant).base();
        const int exponent = top_ - static_cast<int>(first - begin);
        if (exponent > Number::GreatestExponent)
            return refuse(Refusal::Overflow, why);
        if (exponent < Number::LeastExponent)
            return refuse(Refusal::Underflow, why);
        if (last - first > Number::MostDigits)
            return refuse(Refusal::TooManyDigits, why);
        return Number::fromDigits(isNegative, std::string(first, last), exponent);
    }

private:
    /** From the carry of the greatest exponent to the last digit of the least. */
    static constexpr std::size_t Most = Number::GreatestExponent + 1 - Number::LeastExponent + Number::MostDigits;

    const int top_; // the place of the first element
    const std::size_t size_;
    std::array<int, Most> digits_ = {};
};

std::optional<Number> addOrSubtract(const Number& a, const Number& b, bool subtracts, Refusal* why)
{
    const bool bIsNegative = b.isNegative() != subtracts;
    if (b.isZero())
        return a;
    if (a.isZero())
        return Number::fromDigits(bIsNegative, b.digits(), b.exponent());
    const bool bIsGreater = compareMagnitudes(a, b) < 0;
    const Number& greater = bIsGreater ? b : a;
    const Number& less = bIsGreater ? a : b;
    Column column(a, b);
    column.put(greater, 1);
    column.put(less, a.isNegative() == bIsNegative ? 1 : -1);
    column.carry();
    return column.number(bIsGreater ? bIsNegative : a.isNegative(), why);
}

} // namespace

std::string messageOf(Refusal refusal, std::string_view text)
{
    switch (refusal) {
    case Refusal::NotANumber:
        return "The parameter cannot be converted to a numeric value" + (text.empty() ? "" : ": " + std::string(text));
    case Refusal::TooManyDigits:
        return "Attempting to store more than 38 significant digits in a Number";
    case Refusal::Overflow:
        return "Number overflow. Attempting to store a number with magnitude larger than supported range";
    case Refusal::Underflow:
        return "Number underflow. Attempting to store a number with magnitude smaller than supported range";
    }
    return {};
}

std::optional<Number> Number::parse(std::string_view text, Refusal* why)
{
    const bool hasMinus = takeSign(&text);
    const std::size_t e = std::min(text.find_first_of("eE"), text.size());
    const std::optional<long long> power = e == text.size() ? 0 : parseExponent(text.substr(e + 1));
    const Digits significand = parseDigits(text.substr(0, e));
    if (!power || !significand.isNumeric)
        return refuse(Refusal::NotANumber, why);
    if (significand.count == 0)
        return Number();
    const long long first = significand.first + *power;
    if (first > GreatestExponent)
        return refuse(Refusal::Overflow, why);
    if (first < LeastExponent)
        return refuse(Refusal::Underflow, why);
    if (significand.count > MostDigits)
        return refuse(Refusal::TooManyDigits, why);
    return fromDigits(hasMinus, {significand.values.data(), significand.count}, static_cast<int>(first));
}

std::optional<Number> Number::fromDigits(bool isNegative, std::string_view digits, int exponent)
{
    if (digits.empty() || digits.size() > MostDigits || exponent < LeastExponent || exponent > GreatestExponent)
        return {};
    // cppcheck-suppress danglingTemporaryLifetime ; a caller's temporary lives until this returns
    const bool areDigits = std::all_of(digits.begin(), digits.end(), [](char c) { return c >= 0 && c <= 9; });
    if (!areDigits || digits.front() == 0 || digits.back() == 0)
        return {};
    Number number;
    std::copy(digits.begin(), digits.end(), number.digits_.begin());
    number.count_ = static_cast<std::uint8_t>(digits.size());
    number.isNegative_ = isNegative;
    number.exponent_ = static_cast<std::int16_t>(exponent);
    return number;
}

std::string Number::text() const
{
    if (isZero())
        return "0";
    std::string text;
    for (const char digit : digits())
        text += static_cast<char>('0' + digit);
    const int whole = exponent_ + 1; // digits before the point
    if (whole <= 0)
        text.insert(0, "0." + std::string(static_cast<std::size_t>(-whole), '0'));
    else if (whole < count_)
        text.insert(static_cast<std::size_t>(whole), 1, '.');
    else
        text.append(static_cast<std::size_t>(whole - count_), '0');
    return isNegative_ ? "-" + text : text;
}

std::strong_ordering operator<=>(const Number& a, const Number& b)
{
    const auto sign = [](const Number& number) { return number.isZero() ? 0 : number.isNegative() ? -1 : 1; };
    return sign(a) == sign(b) ? sign(a) * compareMagnitudes(a, b) <=> 0 : sign(a) <=> sign(b);
}

std::optional<Number> add(const Number& a, const Number& b, Refusal* why)
{
    return addOrSubtract(a, b, false, why);
}

std::optional<Number> subtract(const Number& a, const Number& b, Refusal* why)
{
    return addOrSubtract(a, b, true, why);
}

} // namespace Decimal

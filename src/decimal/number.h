#ifndef QUORVA_DECIMAL_NUMBER_H
#define QUORVA_DECIMAL_NUMBER_H

#include <array>
#include <compare>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Decimal {

/** Why a text or a result is not a Number. The messages are those of the API of 2012-08-10. */
enum class Refusal { NotANumber, TooManyDigits, Overflow, Underflow };

/** The API's sentence. `text` is what should have been a number; only NotANumber quotes it. */
std::string messageOf(Refusal refusal, std::string_view text = {});

/**
 * A decimal number, exact: 0, or up to 38 significant digits with a magnitude from 1E-130 to
 * 9.9999999999999999999999999999999999999E+125. Each value has one representation, so equal numbers have equal texts.
 * A value type, like int: cheap to copy, without allocation. Any thread.
 */
class Number {
public:
    static constexpr int MostDigits = 38;
    static constexpr int LeastExponent = -130;
    static constexpr int GreatestExponent = 125;

    /** 0. */
    Number() = default;

    /**
     * Reads an optional sign, digits with at most one point among, before or after them, and an optional exponent:
     * "-17", "+1.50", ".5", "5.", "2e-3". Zeros that do not change the value do not count as digits. No blanks.
     * On failure empty, with `why` set unless it is null.
     */
    static std::optional<Number> parse(std::string_view text, Refusal* why = nullptr);

    /**
     * The number 0.DIGITS times 10 to the power of `exponent` + 1, so that `exponent` is that of the first digit. The
     * caller passes values 0 to 9, the first and the last of which are not 0, and an exponent in range; none are 0.
     * Empty for anything else.
     */
    static std::optional<Number> fromDigits(bool isNegative, std::string_view digits, int exponent);

    /** All digits, without an exponent and without redundant zeros: "-17", "0.001", "1200". */
    std::string text() const;

    bool isZero() const { return count_ == 0; }
    bool isNegative() const { return isNegative_; }
    /** How many significant digits there are, without zeros at either end. None for 0. */
    int digitCount() const { return count_; }
    /** Those digits, each a character with a value from 0 to 9 (not '0' to '9'). Valid as long as this object. */
    std::string_view digits() const { return {digits_.data(), count_}; }
    /** The power of ten of the first digit: 0 for 1 to 9, -1 for 0.1. 0 for 0. */
    int exponent() const { return exponent_; }

    friend bool operator==(const Number& a, const Number& b) = default;
    friend std::strong_ordering operator<=>(const Number& a, const Number& b);

private:
    std::array<char, MostDigits> digits_ = {}; // zero beyond count_, so that equal numbers have equal members
    std::uint8_t count_ = 0;
    bool isNegative_ = false; // never for 0
    std::int16_t exponent_ = 0;
};

/**
 * The exact sum and difference. Empty, with `why` set unless it is null, when it has more than 38 significant digits or
 * its magnitude is out of range: a result is never rounded.
 */
std::optional<Number> add(const Number& a, const Number& b, Refusal* why = nullptr);
std::optional<Number> subtract(const Number& a, const Number& b, Refusal* why = nullptr);

} // namespace Decimal

#endif

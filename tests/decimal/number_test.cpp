#include "decimal/number.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using Decimal::Number;
using Decimal::Refusal;

const std::string Nines(Number::MostDigits, '9');

/** The canonical text of a number, or the message of its refusal. */
std::string read(const std::string& text)
{
    Refusal why{};
    const auto number = Number::parse(text, &why);
    return number ? number->text() : Decimal::messageOf(why, text);
}

struct Spelling {
    std::string text;
    std::string canonical;
};

TEST(Number, SpellingsOfOneValueHaveOneText)
{
    const std::vector<Spelling> spellings = {
        {"0", "0"},
        {"-0", "0"},
        {"+0", "0"},
        {"-0.0", "0"},
        {"000", "0"},
        {".0", "0"},
        {"0.", "0"},
        {"0E500", "0"},
        {"0e-99999999999999999999", "0"},
        {"1", "1"},
        {"+3", "3"},
        {"-17", "-17"},
        {"007", "7"},
        {"1.50", "1.5"},
        {".5", "0.5"},
        {"5.", "5"},
        {"-.5e1", "-5"},
        {"5.e-1", "0.5"},
        {"1e5", "100000"},
        {"1E+5", "100000"},
        {"1e05", "100000"},
        {"12e-1", "1.2"},
        {"120e-1", "12"},
        {"0.001", "0.001"},
        {"100e-5", "0.001"},
        {"1000000000000000000000", "1000000000000000000000"},
        {"12345678901234567890.123456789012345678", "12345678901234567890.123456789012345678"},
        {"0000000000000000000000000000000000000000000000000.10000000000000000000000000000000000000000000", "0.1"},
        {"0." + std::string(200, '0') + "1e201", "1"},
        {"1" + std::string(200, '0') + "e-200", "1"},
    };
    for (const Spelling& spelling : spellings)
        EXPECT_EQ(read(spelling.text), spelling.canonical) << spelling.text;
}

TEST(Number, TextsThatAreNoNumbersAreRefused)
{
    const std::vector<std::string> texts = {
        "x",     " 1",    "1 ",        "1 2", "\t1", "+",     "-",     ".",        "-.",        "e5",
        ".e5",   "1e",    "1e+",       "1e-", "1ee", "1e1.5", "1.2.3", "1..2",     "--1",       "+-1",
        "1-",    "1e--1", "0x1",       "1f",  "NaN", "nan",   "Inf",   "Infinity", "-Infinity", "1,000",
        "1_000", "١",     "1\xc2\xa0", "1e٣", "½",   "1/2",   "0e",    "0ex",      "x0"};
    for (const std::string& text : texts)
        EXPECT_EQ(read(text), "The parameter cannot be converted to a numeric value: " + text) << text;
    EXPECT_EQ(read(""), "The parameter cannot be converted to a numeric value");
    EXPECT_EQ(read(std::string("1\0", 2)),
              "The parameter cannot be converted to a numeric value: " + std::string("1\0", 2));
    EXPECT_FALSE(Number::parse("x")) << "without a place for the reason";
}

TEST(Number, HasAtMost38SignificantDigits)
{
    const std::string tooMany = "Attempting to store more than 38 significant digits in a Number";
    EXPECT_EQ(read(Nines), Nines);
    EXPECT_EQ(read("-" + Nines), "-" + Nines);
    EXPECT_EQ(read("00" + Nines + "00"), Nines + "00") << "outer zeros are no digits";
    EXPECT_EQ(read(Nines + "9"), tooMany);
    EXPECT_EQ(read("1" + std::string(37, '0') + "1"), tooMany);
    EXPECT_EQ(read("1." + std::string(36, '0') + "1"), "1." + std::string(36, '0') + "1");
    EXPECT_EQ(read("1." + std::string(37, '0') + "1"), tooMany);
    EXPECT_EQ(read("-0.1" + std::string(37, '0') + "1e3"), tooMany);
    EXPECT_EQ(read("1" + std::string(100000, '1')), "Number overflow. Attempting to store a number with magnitude "
                                                    "larger than supported range");
    EXPECT_EQ(read("." + std::string(100000, '1')), tooMany);
}

TEST(Number, HasAMagnitudeInRange)
{
    const std::string overflow = "Number overflow. Attempting to store a number with magnitude larger than supported "
                                 "range";
    const std::string underflow = "Number underflow. Attempting to store a number with magnitude smaller than "
                                  "supported range";
    const std::string greatest = "9.9999999999999999999999999999999999999E+125";
    EXPECT_EQ(read(greatest), Nines + std::string(126 - 38, '0'));
    EXPECT_EQ(read("-" + greatest), "-" + Nines + std::string(126 - 38, '0'));
    EXPECT_EQ(read("1e125"), "1" + std::string(125, '0'));
    EXPECT_EQ(read("1e126"), overflow);
    EXPECT_EQ(read("-10e125"), overflow);
    EXPECT_EQ(read("0.1e126"), "1" + std::string(125, '0'));
    EXPECT_EQ(read("1e99999999999999999999999"), overflow);
    EXPECT_EQ(read("1E-130"), "0." + std::string(129, '0') + "1");
    EXPECT_EQ(read("-1E-130"), "-0." + std::string(129, '0') + "1");
    EXPECT_EQ(read("1.5E-130"), "0." + std::string(129, '0') + "15");
    EXPECT_EQ(read("9.9999999999999999999999999999999999999E-131"), underflow);
    EXPECT_EQ(read("-1e-131"), underflow);
    EXPECT_EQ(read("0.1e-130"), underflow);
    EXPECT_EQ(read("1e-99999999999999999999999"), underflow);
    EXPECT_EQ(read(greatest + "1"), overflow) << "the exponent is 1251";
    EXPECT_EQ(read(Nines + "9e126"), overflow) << "as well as too many digits";
}

TEST(Number, ReportsItsDigitsAndExponent)
{
    const auto number = Number::parse("-0.00120300");
    ASSERT_TRUE(number);
    EXPECT_TRUE(number->isNegative());
    EXPECT_FALSE(number->isZero());
    EXPECT_EQ(number->digits(), std::string("\1\2\0\3", 4));
    EXPECT_EQ(number->digitCount(), 4);
    EXPECT_EQ(number->exponent(), -3);
    EXPECT_EQ(Number::fromDigits(true, number->digits(), -3), number);

    const Number zero;
    EXPECT_TRUE(zero.isZero());
    EXPECT_FALSE(zero.isNegative());
    EXPECT_EQ(zero.digits(), "");
    EXPECT_EQ(zero.exponent(), 0);
    EXPECT_EQ(zero.text(), "0");
    EXPECT_EQ(Number::parse("-0"), zero);
}

TEST(Number, IsMadeOfItsOwnDigitsOnly)
{
    const auto made = [](const std::string& digits, int exponent) {
        return Number::fromDigits(false, digits, exponent).has_value();
    };
    EXPECT_TRUE(made("\1", 125));
    EXPECT_TRUE(made("\1", -130));
    EXPECT_FALSE(made("\1", 126));
    EXPECT_FALSE(made("\1", -131));
    EXPECT_FALSE(made("", 0));
    EXPECT_FALSE(made(std::string("\0\1", 2), 0));
    EXPECT_FALSE(made(std::string("\1\0", 2), 0));
    EXPECT_FALSE(made("1", 0)) << "a character, not a value";
    EXPECT_FALSE(made("\x0a", 0));
    EXPECT_FALSE(made("\xff", 0));
    EXPECT_TRUE(made(std::string(38, '\1'), 0));
    EXPECT_FALSE(made(std::string(39, '\1'), 0));
}

TEST(Number, IsOrderedByValue)
{
    const std::vector<std::string> ascending = {"-9.9999999999999999999999999999999999999E+125",
                                                "-1e125",
                                                "-1e38",
                                                "-100",
                                                "-99.9",
                                                "-10",
                                                "-9",
                                                "-1.21",
                                                "-1.2",
                                                "-1",
                                                "-0.9",
                                                "-0.11",
                                                "-0.1",
                                                "-1e-130",
                                                "0",
                                                "1e-130",
                                                "1.1e-130",
                                                "0.1",
                                                "0.11",
                                                "0.9",
                                                "1",
                                                "1.2",
                                                "1.21",
                                                "9",
                                                "10",
                                                "99.9",
                                                "100",
                                                "1e38",
                                                "1e125",
                                                "9.9999999999999999999999999999999999999E+125"};
    for (std::size_t i = 0; i < ascending.size(); ++i) {
        for (std::size_t j = 0; j < ascending.size(); ++j) {
            const auto a = Number::parse(ascending[i]);
            const auto b = Number::parse(ascending[j]);
            ASSERT_TRUE(a && b);
            EXPECT_EQ(*a <=> *b, i <=> j) << ascending[i] << " " << ascending[j];
            EXPECT_EQ(*a == *b, i == j) << ascending[i] << " " << ascending[j];
        }
    }
}

} // namespace

#include "decimal/number.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace {

using Decimal::Number;
using Decimal::Refusal;

Number number(const std::string& text)
{
    const auto read = Number::parse(text);
    EXPECT_TRUE(read) << text;
    return read.value_or(Number());
}

using Operation = std::optional<Number> (*)(const Number& a, const Number& b, Refusal* why);

/** The text of the result, or the message of its refusal. */
std::string result(Operation operation, const std::string& a, const std::string& b)
{
    Refusal why{};
    const auto result = operation(number(a), number(b), &why);
    return result ? result->text() : Decimal::messageOf(why);
}

struct Case {
    std::string a;
    std::string b;
    std::string sum;
    std::string difference;
};

const std::string TooMany = "Attempting to store more than 38 significant digits in a Number";
const std::string Overflow = "Number overflow. Attempting to store a number with magnitude larger than supported range";
const std::string Underflow =
    "Number underflow. Attempting to store a number with magnitude smaller than supported range";
const std::string AllNines(38, '9');

TEST(NumberArithmetic, IsExactOrRefused)
{
    const std::vector<Case> cases = {
        {"0", "0", "0", "0"},
        {"5", "0", "5", "5"},
        {"0", "5", "5", "-5"},
        {"1", "2", "3", "-1"},
        {"-1", "2", "1", "-3"},
        {"1", "-2", "-1", "3"},
        {"-1", "-2", "-3", "1"},
        {"7", "7", "14", "0"},
        {"-7", "7", "0", "-14"},
        {"0.1", "0.2", "0.3", "-0.1"},
        {"99", "1", "100", "98"},
        {"100", "1", "101", "99"},
        {"1000", "0.001", "1000.001", "999.999"},
        {"1e37", "1", "1" + std::string(36, '0') + "1", std::string(37, '9')},
        {"1e38", "1", TooMany, AllNines},
        {"1e39", "1", TooMany, TooMany},
        {"1e125", "1e-130", TooMany, TooMany},
        {AllNines, "1", "1" + std::string(38, '0'), std::string(37, '9') + "8"},
        {AllNines, "0.1", TooMany, TooMany},
        {AllNines, AllNines, TooMany, "0"},
        {"9e125", "9e125", Overflow, "0"},
        {"9.9999999999999999999999999999999999999E+125", "1e88", Overflow,
         "9" + std::string(36, '9') + "8" + std::string(88, '0')},
        {"-9.9999999999999999999999999999999999999E+125", "1e88",
         "-9" + std::string(36, '9') + "8" + std::string(88, '0'), Overflow},
        {"1e-130", "1e-130", "0." + std::string(129, '0') + "2", "0"},
        {"1.1e-130", "1e-130", "0." + std::string(129, '0') + "21", Underflow},
        {"1e-130", "1.1e-130", "0." + std::string(129, '0') + "21", Underflow},
        {"-1.1e-130", "1e-130", Underflow, "-0." + std::string(129, '0') + "21"},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(result(Decimal::add, c.a, c.b), c.sum) << c.a << " + " << c.b;
        EXPECT_EQ(result(Decimal::subtract, c.a, c.b), c.difference) << c.a << " - " << c.b;
    }
    EXPECT_FALSE(Decimal::add(number("9e125"), number("9e125"))) << "without a place for the reason";
}

TEST(NumberArithmetic, TenThousandTenthsAreAThousand)
{
    const Number tenth = number("0.1");
    Number sum;
    for (int i = 0; i < 10000; ++i) {
        const auto next = Decimal::add(sum, tenth);
        ASSERT_TRUE(next) << i;
        sum = *next;
    }
    EXPECT_EQ(sum.text(), "1000");
}

} // namespace

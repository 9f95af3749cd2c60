#include "decimal/number.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdio>
#include <memory>
#include <optional>
#include <sstream>
#include <string>

namespace {

using Decimal::Number;
using Decimal::Refusal;

/** What a program prints. */
std::string outputOf(const std::string& command)
{
    struct Close {
        void operator()(FILE* pipe) const { EXPECT_EQ(pclose(pipe), 0); }
    };
    const std::unique_ptr<FILE, Close> pipe(popen(command.c_str(), "r"));
    std::string output;
    std::array<char, 65536> buffer;
    while (const std::size_t size = std::fread(buffer.data(), 1, buffer.size(), pipe.get()))
        output.append(buffer.data(), size);
    return output;
}

std::string outcome(const std::optional<Number>& number, Refusal why)
{
    if (number)
        return number->text();
    switch (why) {
    case Refusal::NotANumber:
        return "no number";
    case Refusal::TooManyDigits:
        return "digits";
    case Refusal::Overflow:
        return "overflow";
    case Refusal::Underflow:
        return "underflow";
    }
    return {};
}

std::string outcome(const std::string& text)
{
    Refusal why{};
    const auto number = Number::parse(text, &why);
    return outcome(number, why);
}

TEST(NumberRandom, AgreesWithAnotherDecimalArithmetic)
{
    constexpr int Seed = 20120810;
    constexpr int Count = 20000;
    std::istringstream cases(outputOf(std::string(PYTHON) + " -B " + NUMBER_CASES + " " + std::to_string(Seed) + " " +
                                      std::to_string(Count)));
    int count = 0;
    int sums = 0;
    std::string a, b, canonicalA, canonicalB, sum, difference;
    for (int order = 0; cases >> a >> b >> canonicalA >> canonicalB >> order >> sum >> difference; ++count) {
        SCOPED_TRACE(a + " " + b);
        ASSERT_EQ(outcome(a), canonicalA);
        ASSERT_EQ(outcome(b), canonicalB);
        const auto left = Number::parse(a);
        const auto right = Number::parse(b);
        if (!left || !right)
            continue;
        ++sums;
        ASSERT_EQ(*left <=> *right, order <=> 0);
        ASSERT_EQ(*left == *right, order == 0);
        Refusal why{};
        const auto added = Decimal::add(*left, *right, &why);
        ASSERT_EQ(outcome(added, why), sum);
        const auto subtracted = Decimal::subtract(*left, *right, &why);
        ASSERT_EQ(outcome(subtracted, why), difference);
    }
    EXPECT_EQ(count, Count);
    EXPECT_GT(sums, Count / 2);
}

} // namespace

#include "tools/decimal.h"

#include <gtest/gtest.h>

TEST(Decimals, AreComparedByTheirValueAndNotByTheirText)
{
    struct Row {
        const char* less;
        const char* greater;
    };
    const Row rows[] = {{"1", "2"},
                        {"9", "10"},
                        {"-2", "-1"},
                        {"-1", "0"},
                        {"0", "0.001"},
                        {"1.49", "1.5"},
                        {"0.5", "1e0"},
                        {"9e-3", "0.01"},
                        {"-1e3", "-999"},
                        {"9223372036854775807", "9223372036854775808"},
                        {"0.12345678901234567890123456789", "0.12345678901234567890123456790"},
                        {"1e99999999999999999998", "2e99999999999999999998"},
                        {"1e-99999999999999999999", "1"},
                        {"-1e99999999999999999999", "1"}};
    for (const Row& row : rows) {
        EXPECT_LT(Decimals::compare(row.less, row.greater), 0) << row.less << ' ' << row.greater;
        EXPECT_GT(Decimals::compare(row.greater, row.less), 0) << row.less << ' ' << row.greater;
    }
}

TEST(Decimals, AreEqualHoweverTheyAreWritten)
{
    for (const char* text : {"17", "+17", "017", "17.0", "1.7e1", "1.70E+1", "170e-1", "0.0017e4"})
        EXPECT_EQ(Decimals::compare(text, "17"), 0) << text;
    for (const char* text : {"0", "-0", "0.000", "0e5", "-0e-5"})
        EXPECT_EQ(Decimals::compare(text, "0"), 0) << text;
}

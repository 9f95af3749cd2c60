#include "tools/times.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace {

/** The local time zone, for the lifetime of this object. */
class Zone {
public:
    explicit Zone(const char* rules)
    {
        ::setenv("TZ", rules, 1);
        ::tzset();
    }
    ~Zone()
    {
        ::unsetenv("TZ");
        ::tzset();
    }
    Zone(const Zone&) = delete;
    Zone& operator=(const Zone&) = delete;
};

constexpr const char* WithSummerTime = "CET-1CEST,M3.5.0,M10.5.0/3";
constexpr std::time_t Time = 1'795'356'300; // 2026-11-22 14:05:00 UTC

std::time_t timeOf(const std::string& text)
{
    std::time_t time = -1;
    EXPECT_EQ(Times::read(text, &time), "") << text;
    return time;
}

std::string problemWith(const std::string& text)
{
    std::time_t time = -1;
    std::string problem = Times::read(text, &time);
    EXPECT_EQ(time, -1) << text;
    return problem;
}

TEST(Times, AreReadInAllForms)
{
    const Zone zone(WithSummerTime);
    for (const char* text :
         {"2026-11-22T14:05:00Z", "2026-11-22t14:05:00z", "2026-11-22 14:05:00Z", "2026-11-22T15:05:00+01:00",
          "2026-11-22T08:35:00-05:30", "2026-11-22 14:05:00 UTC", "2026-11-22 15:05:00", "2026-11-22T15:05:00",
          "2026-11-22 15:05", "2026-11-22T14:05Z", "2026-11-22T14:05:00.999Z", "1795356300"})
        EXPECT_EQ(timeOf(text), Time) << text;
    EXPECT_EQ(timeOf("2026-07-01 14:00:00"), timeOf("2026-07-01T12:00:00Z")) << "summer time";
    EXPECT_EQ(timeOf("2026-10-25T02:30:00+02:00") + 3600, timeOf("2026-10-25T02:30:00+01:00"));
}

TEST(Times, OthersAreRefused)
{
    const Zone zone(WithSummerTime);
    for (const char* text :
         {"", "now", "2026-11-22", "14:05:00", "2026-13-22T14:05:00Z", "2026-11-31T14:05:00Z", "2026-11-22T24:05:00Z",
          "2026-11-22T14:05:00+1", "2026-11-22T14:05:00Z ", "2026-11-22T14:05:00.Z", "2026-11-22T14:05:00 CET",
          "2026-11-22T14:05:00+01:60", "1795356300s", "26-11-22 14:05:00"})
        EXPECT_EQ(problemWith(text), '"' + std::string(text) +
                                         "\" is not a time; write it as in 2026-11-22T14:05:00Z, as \"2026-11-22 "
                                         "14:05:00\" in the local time zone, or in seconds since 1970");
    for (const char* text : {"-1", "253402300800", "99999999999999999"})
        EXPECT_EQ(problemWith(text),
                  '"' + std::string(text) + "\" is not a time from 1970 to 9999, in seconds since 1970");
    EXPECT_EQ(timeOf("253402300799"), 253402300799);
    EXPECT_EQ(problemWith("2026-10-25 02:30:00"),
              "\"2026-10-25 02:30:00\" occurs twice in this time zone, as its clocks are set back; add the offset, "
              "such as +01:00");
    EXPECT_EQ(problemWith("2026-03-29 02:30:00"),
              "\"2026-03-29 02:30:00\" does not occur in this time zone, as its clocks are set forward");
}

TEST(Times, AreWrittenInUtc)
{
    const Zone zone(WithSummerTime);
    EXPECT_EQ(Times::text(Time), "2026-11-22 14:05:00 UTC");
    EXPECT_EQ(Times::text(std::nullopt), "unknown");
    EXPECT_EQ(timeOf(Times::text(Time)), Time);
}

} // namespace

#include "tools/units.h"

#include "client/latencyhistogram.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <string>

TEST(Units, BytesHaveTheUnitThatSuits)
{
    EXPECT_EQ(Units::bytes(0), "0 B");
    EXPECT_EQ(Units::bytes(std::uint64_t{1} << 40), "1.0 TiB");
    EXPECT_EQ(Units::bytes(1023), "1023 B");
    EXPECT_EQ(Units::bytes(1024), "1.0 KiB");
    EXPECT_EQ(Units::bytes(1536), "1.5 KiB");
    EXPECT_EQ(Units::bytes(1048575), "1.0 MiB");
    EXPECT_EQ(Units::bytes(16.0 * 1024 * 1024), "16.0 MiB");
    EXPECT_EQ(Units::bytes(3e12), "2.7 TiB");
    EXPECT_EQ(Units::bytes(1e19), "8881.8 PiB");
}

TEST(Units, DurationsHaveTwoUnitsAtMost)
{
    EXPECT_EQ(Units::duration(0), "0.0 s");
    EXPECT_EQ(Units::duration(2.04), "2.0 s");
    EXPECT_EQ(Units::duration(9.96), "10 s");
    EXPECT_EQ(Units::duration(59.4), "59 s");
    EXPECT_EQ(Units::duration(59.6), "1 min");
    EXPECT_EQ(Units::duration(65), "1 min 5 s");
    EXPECT_EQ(Units::duration(3600), "1 h");
    EXPECT_EQ(Units::duration(3600 + 4 * 60 + 59), "1 h 4 min");
    EXPECT_EQ(Units::duration(2 * 86400 + 5 * 3600), "2 d 5 h");
    EXPECT_EQ(Units::duration(-1), "0.0 s");
}

TEST(Units, LatenciesHaveThreeDigits)
{
    EXPECT_EQ(Units::latency(0), "0 us");
    EXPECT_EQ(Units::latency(999), "999 us");
    EXPECT_EQ(Units::latency(195183), "195 ms");
    EXPECT_EQ(Units::latency(999400), "999 ms");
    EXPECT_EQ(Units::latency(999600), "1 s");
    EXPECT_EQ(Units::latency(50), "50 us");
    EXPECT_EQ(Units::latency(1000), "1 ms");
    EXPECT_EQ(Units::latency(2500), "2.5 ms");
    EXPECT_EQ(Units::latency(10000000), "10 s");
    EXPECT_EQ(Units::latency(Client::Latencies::Beyond), "longer");
}

TEST(Units, RatesArePreciseWhereTheyAreSmall)
{
    EXPECT_EQ(Units::rate(0), "0");
    EXPECT_EQ(Units::rate(0.009), "<0.01");
    EXPECT_EQ(Units::rate(0.04), "0.04");
    EXPECT_EQ(Units::rate(0.996), "1.0");
    EXPECT_EQ(Units::rate(12.34), "12.3");
    EXPECT_EQ(Units::rate(99.96), "100");
    EXPECT_EQ(Units::rate(20576.4), "20576");
}

TEST(Units, PercentageOfNothingIsNone)
{
    EXPECT_EQ(Units::percentage(99, 100), "99.0 %");
    EXPECT_EQ(Units::percentage(1, 3), "33.3 %");
    EXPECT_EQ(Units::percentage(0, 0), "-");
}

TEST(Units, DatesAreLocal)
{
    EXPECT_EQ(Units::date(0), "-");
    std::time_t noon = 1795356721;
    char text[32];
    std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", std::localtime(&noon));
    EXPECT_EQ(Units::date(1795356721.9), text);
}

// Which lines are written.
#include "logfixture.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

namespace {

// Read before any test sets the threshold.
const bool debugAtStart = Log::enabled(LogDebug);
const bool infoAtStart = Log::enabled(LogInfo);

using LogThreshold = LogTest;

TEST_F(LogThreshold, IsInfoAtStart)
{
    EXPECT_FALSE(debugAtStart);
    EXPECT_TRUE(infoAtStart);
}

TEST_F(LogThreshold, LetsItsLevelAndHigherOnesPass)
{
    for (int threshold = 0; threshold <= 6; ++threshold) {
        Log::setThreshold(threshold);
        for (int level = 0; level <= 6; ++level)
            EXPECT_EQ(Log::enabled(level), level >= threshold) << level << " at threshold " << threshold;
    }
}

TEST_F(LogThreshold, KeepsLowerLinesOut)
{
    const auto logAll = [] {
        LOG_DEBUG << "d";
        LOG_INFO << "i";
        LOG_WARN << "w";
        LOG_ERROR("bdb", 1) << "e";
        LOG_CRIT("bdb", 2) << "c";
    };
    const std::string lines[] = {"[DEBUG] d\n", "[INFO] i\n", "[WARN] w\n", "[ERROR] bdb 1 e\n", "[CRIT] bdb 2 c\n"};
    std::string expected;
    for (int threshold = 1; threshold <= 6; ++threshold) {
        Log::setThreshold(threshold);
        logAll();
        for (int level = threshold; level <= LogCrit; ++level)
            expected += lines[level - 1];
    }
    EXPECT_EQ(messages(), expected);
}

/** Counts how often it is formatted. */
struct Probe {
    int* count;
};

std::ostream& operator<<(std::ostream& stream, const Probe& probe)
{
    ++*probe.count;
    return stream << "probe";
}

TEST_F(LogThreshold, FormatsNothingBelow)
{
    int written = 0;
    int evaluated = 0;
    const auto probe = [&] {
        ++evaluated;
        return Probe{&written};
    };
    Log::setThreshold(LogCrit + 1);
    LOG_DEBUG << probe();
    LOG_INFO << probe();
    LOG_WARN << probe();
    LOG_ERROR("bdb", probe().count == nullptr) << probe();
    LOG_CRIT("bdb", 1) << probe();
    EXPECT_EQ(evaluated, 0);
    EXPECT_EQ(written, 0);

    Log::setThreshold(LogInfo);
    LOG_DEBUG << probe();
    LOG_INFO << probe();
    EXPECT_EQ(evaluated, 1);
    EXPECT_EQ(written, 1);
    EXPECT_EQ(messages(), "[INFO] probe\n");
}

TEST_F(LogThreshold, MacroIsOneStatement)
{
    for (const bool condition : {true, false}) {
        if (condition)
            LOG_INFO << "then";
        else
            LOG_INFO << "else";
        if (condition)
            LOG_DEBUG << "below";
        else
            LOG_WARN << "otherwise";
    }
    EXPECT_EQ(messages(), "[INFO] then\n[INFO] else\n[WARN] otherwise\n");
}

} // namespace

#include "storage/bdbstatprintthread.h"

#include "maintenancesupport.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <string>
#include <vector>

namespace {

using namespace std::chrono_literals;

TEST(BDBStatPrintThread, PrintsWhatTheLevelReaches)
{
    const RestoredSettings restored;
    struct Case {
        int level;
        std::vector<const char*> printed;
        std::vector<const char*> missing;
    };
    constexpr const char* Locks = "Last allocated locker ID";
    constexpr const char* Transactions = "Number of transactions begun";
    constexpr const char* Mutexes = "Mutex alignment";
    constexpr const char* LogStatistics = "Log record cache size";
    constexpr const char* Cache = "Total cache size";
    const Case cases[] = {
        {0, {}, {Locks, Transactions, Mutexes, LogStatistics, Cache}},
        {3, {}, {Locks, Transactions, Mutexes, LogStatistics, Cache}},
        {4, {Locks}, {Transactions, Mutexes, LogStatistics, Cache}},
        {7, {Locks}, {Transactions, Mutexes, LogStatistics, Cache}},
        {8, {Locks, Transactions}, {Mutexes, LogStatistics, Cache}},
        {12, {Locks, Transactions, Mutexes}, {LogStatistics, Cache}},
        {16, {Locks, Transactions, Mutexes, LogStatistics}, {Cache}},
        {20, {Locks, Transactions, Mutexes, LogStatistics, Cache}, {}},
    };
    for (const Case& expected : cases) {
        SCOPED_TRACE(expected.level);
        Settings::setStatLevel(0);
        TempEnv env;
        const LogCapture log(LogDebug);
        Settings::setStatLevel(expected.level);
        BDBStatPrintThread thread(env.get(), 1ms);
        for (const char* text : expected.printed)
            EXPECT_TRUE(log.waitFor(text)) << text;
        thread.stop();
        thread.waitStopped();
        for (const char* text : expected.missing)
            EXPECT_FALSE(log.contains(text)) << text;
    }
}

TEST(BDBStatPrintThread, OpensWithTheTimeAndAnEmptyLine)
{
    const RestoredSettings restored;
    TempEnv env;
    const LogCapture log(LogDebug);
    Settings::setStatLevel(4);
    BDBStatPrintThread thread(env.get(), 24h);
    ASSERT_TRUE(log.waitFor("Last allocated locker ID"));
    thread.stop();
    thread.waitStopped();
    // "Fri Nov 20 11:36:30 2026", then an empty line.
    std::vector<std::string> lines = log.lines();
    std::erase_if(lines, [](const std::string& line) { return line.starts_with("[INFO]"); }); // from other threads
    ASSERT_GE(lines.size(), 2U);
    EXPECT_THAT(lines[0], testing::MatchesRegex("[A-Z][a-z][a-z] [A-Z][a-z][a-z] [ 0-9][0-9] [0-9][0-9]:[0-9][0-9]:"
                                                "[0-9][0-9] [0-9][0-9][0-9][0-9]"));
    EXPECT_EQ(lines[1], "");
}

TEST(BDBStatPrintThread, ReadsTheLevelAfreshInEveryCycle)
{
    const RestoredSettings restored;
    TempEnv env;
    const LogCapture log(LogDebug);
    BDBStatPrintThread thread(env.get(), 1ms);
    Settings::setStatLevel(4);
    EXPECT_TRUE(log.waitFor("Last allocated locker ID", 2));
    Settings::setStatLevel(8);
    EXPECT_TRUE(log.waitFor("Number of transactions begun"));
    thread.stop();
    thread.waitStopped();
}

} // namespace

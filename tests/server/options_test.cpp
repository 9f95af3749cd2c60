#include "server/options.h"

#include "support/logcapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/** The settings after reading these arguments, on a machine with two processors. */
ServerOptions read(std::vector<const char*> words)
{
    words.insert(words.begin(), "quorva");
    ServerOptions options(2);
    options.read(static_cast<int>(words.size()), words.data());
    return options;
}

/** All settings as one text, for comparison. */
std::string text(const ServerOptions& options)
{
    return "port " + std::to_string(options.port) + " log " + (options.logFile == nullptr ? "none" : options.logFile) +
           " level " + std::to_string(options.statLevel) + " workers " + std::to_string(options.workers) + " pool " +
           std::to_string(options.poolMax) + (options.commitWithoutSync ? " nosync" : " sync");
}

} // namespace

TEST(CoreCount, IsWhatQtReports)
{
    const LogCapture log;
    EXPECT_EQ(ServerOptions::coreCount(), QThread::idealThreadCount());
    EXPECT_EQ(ServerOptions::coreCount(1), 1);
    EXPECT_EQ(ServerOptions::coreCount(96), 96);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(CoreCount, IsFourWithAWarningWhenQtReportsNone)
{
    for (const int reported : {0, -1}) {
        const LogCapture log;
        EXPECT_EQ(ServerOptions::coreCount(reported), 4);
        EXPECT_THAT(log.lines(), ElementsAre("[WARN] Could not calculate no of cores, using default value 4"));
    }
}

TEST(ServerOptions, DefaultsComeFromTheProcessors)
{
    EXPECT_EQ(text(ServerOptions(1)), "port 4567 log none level 0 workers 4 pool 40 sync");
    EXPECT_EQ(text(ServerOptions(16)), "port 4567 log none level 0 workers 64 pool 640 sync");
    EXPECT_EQ(text(read({})), "port 4567 log none level 0 workers 8 pool 80 sync");
}

TEST(ServerOptions, EachOptionSetsItsOwnSettingAndNoOther)
{
    EXPECT_EQ(text(read({"-p", "99"})), "port 99 log none level 0 workers 8 pool 80 sync");
    EXPECT_EQ(text(read({"-d", "a.log"})), "port 4567 log a.log level 0 workers 8 pool 80 sync");
    EXPECT_EQ(text(read({"-s", "20"})), "port 4567 log none level 20 workers 8 pool 80 sync");
    EXPECT_EQ(text(read({"-m", "7"})), "port 4567 log none level 0 workers 8 pool 7 sync");
    EXPECT_EQ(text(read({"-n"})), "port 4567 log none level 0 workers 8 pool 80 nosync");
    EXPECT_EQ(text(read({"-np1", "-da.log", "-s", "4", "-w5", "-m6"})),
              "port 1 log a.log level 4 workers 5 pool 6 nosync");
}

TEST(ServerOptions, WorkersLeaveThePoolAtItsDefault)
{
    EXPECT_EQ(text(read({"-w", "3"})), "port 4567 log none level 0 workers 3 pool 80 sync");
}

TEST(ServerOptions, LastOfEqualOptionsWins)
{
    EXPECT_EQ(text(read({"-p1", "-p2", "-da", "-db"})), "port 2 log b level 0 workers 8 pool 80 sync");
}

TEST(ServerOptions, NumbersAreReadAsFarAsTheyGo)
{
    EXPECT_EQ(read({"-p", "abc"}).port, 0);
    EXPECT_EQ(read({"-p", ""}).port, 0);
    EXPECT_EQ(read({"-p", "12abc"}).port, 12);
    EXPECT_EQ(read({"-p", " 12"}).port, 12);
    EXPECT_EQ(read({"-s", "-3"}).statLevel, -3);
    EXPECT_EQ(read({"-w", "-n"}).workers, 0);
    EXPECT_EQ(read({"-m", "0x10"}).poolMax, 0);
}

TEST(ServerOptions, UnknownOptionsAndMissingArgumentsAreIgnored)
{
    EXPECT_EQ(text(read({"-x", "-q5", "-p", "99", "-y"})), "port 99 log none level 0 workers 8 pool 80 sync")
        << "an unknown letter is skipped alone; the 5 after -q is a further one";
    EXPECT_EQ(text(read({"-p", "99", "-p"})), "port 99 log none level 0 workers 8 pool 80 sync");
    EXPECT_EQ(text(read({"-d"})), "port 4567 log none level 0 workers 8 pool 80 sync");
}

TEST(ServerOptions, ReadingStopsAtTheFirstOtherWord)
{
    EXPECT_EQ(text(read({"-p", "99", "stop", "-p", "1", "-n"})), "port 99 log none level 0 workers 8 pool 80 sync");
    EXPECT_EQ(text(read({"-", "-n"})), "port 4567 log none level 0 workers 8 pool 80 sync");
}

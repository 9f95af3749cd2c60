// What a line of the log looks like.
#include "logfixture.h"

#include <QByteArray>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <clocale>
#include <ctime>
#include <limits>
#include <locale>
#include <string>
#include <utility>
#include <vector>

namespace {

using namespace std::string_literals;

using LogLine = LogTest;

TEST_F(LogLine, StartsWithTimeAndLevel)
{
    const PretendedTime time("UTC0", 1546851903);
    LOG_INFO << "message";
    EXPECT_EQ(text(), "[Mon Jan 07 09:05:03 2019] [INFO] message\n");
}

TEST_F(LogLine, TimeHasTwoDigitsForEveryPart)
{
    const std::vector<std::pair<std::time_t, std::string>> cases = {
        {946684800, "[Sat Jan 01 00:00:00 2000] "},   {951825600, "[Tue Feb 29 12:00:00 2000] "},
        {1520035749, "[Sat Mar 03 00:09:09 2018] "},  {1554854400, "[Wed Apr 10 00:00:00 2019] "},
        {1588334401, "[Fri May 01 12:00:01 2020] "},  {1623110400, "[Tue Jun 08 00:00:00 2021] "},
        {1656968399, "[Mon Jul 04 20:59:59 2022] "},  {1692576000, "[Mon Aug 21 00:00:00 2023] "},
        {1725753600, "[Sun Sep 08 00:00:00 2024] "},  {1760054400, "[Fri Oct 10 00:00:00 2025] "},
        {1794009600, "[Sat Nov 07 00:00:00 2026] "},  {1830297599, "[Fri Dec 31 23:59:59 2027] "},
        {253402300799, "[Fri Dec 31 23:59:59 9999] "}};
    for (const auto& [time, prefix] : cases) {
        const std::string before = text();
        const PretendedTime pretended("UTC0", time);
        LOG_WARN << "x";
        EXPECT_EQ(text().substr(before.size()), prefix + "[WARN] x\n") << time;
    }
}

TEST_F(LogLine, TimeIsLocal)
{
    const PretendedTime time("EST5", 1546851903);
    LOG_INFO << "message";
    EXPECT_EQ(text(), "[Mon Jan 07 04:05:03 2019] [INFO] message\n");
}

TEST_F(LogLine, TimeIsThatOfTheLine)
{
    const std::time_t before = std::time(nullptr);
    LOG_INFO << "message";
    const std::time_t after = std::time(nullptr);
    const std::string line = text();
    ASSERT_THAT(line, testing::MatchesRegex(TimePattern + "\\[INFO\\] message\n"s));
    std::tm parts{};
    ASSERT_NE(strptime(line.c_str(), "[%a %b %d %T %Y]", &parts), nullptr) << line;
    parts.tm_isdst = -1;
    const std::time_t written = std::mktime(&parts);
    EXPECT_LE(before, written);
    EXPECT_LE(written, after);
}

TEST_F(LogLine, TimeIsEnglishWhateverTheLocale)
{
    /** Groups digits, as a user's locale may. */
    class Grouping : public std::numpunct<char> {
        char do_thousands_sep() const override { return '.'; }
        std::string do_grouping() const override { return "\1"; }
    };
    const std::string previous = std::setlocale(LC_ALL, nullptr);
    const std::locale previousStreams = std::locale::global(std::locale(std::locale::classic(), new Grouping));
    const PretendedTime time("UTC0", 1546851903);
    std::string expected;
    for (const char* locale : {"C", "C.UTF-8", "de_DE.UTF-8", "fr_FR.UTF-8", "ja_JP.UTF-8", "ar_EG.UTF-8"}) {
        if (std::setlocale(LC_ALL, locale) == nullptr)
            continue; // not installed
        LOG_INFO << locale;
        expected += "[Mon Jan 07 09:05:03 2019] [INFO] "s + locale + '\n';
    }
    std::locale::global(previousStreams);
    std::setlocale(LC_ALL, previous.c_str());
    EXPECT_EQ(text(), expected);
}

TEST_F(LogLine, NamesItsLevel)
{
    const std::vector<std::pair<int, std::string>> cases = {
        {1, "DEBUG"},
        {2, "INFO"},
        {3, "WARN"},
        {4, "ERROR"},
        {5, "CRIT"},
        {0, "INVALID"},
        {6, "INVALID"},
        {-1, "INVALID"},
        {100, "INVALID"},
        {std::numeric_limits<int>::max(), "INVALID"},
        {std::numeric_limits<int>::min(), "INVALID"},
    };
    std::string expected;
    for (const auto& [level, name] : cases) {
        Log().open(level) << "level " << level;
        expected += "[" + name + "] level " + std::to_string(level) + '\n';
    }
    EXPECT_EQ(messages(), expected);
}

TEST_F(LogLine, MacrosWriteAtTheirLevelWithOrigin)
{
    Log::setThreshold(LogDebug);
    LOG_DEBUG << "locking " << 7;
    LOG_INFO << "opened";
    LOG_WARN << "retry " << 2;
    LOG_ERROR("bdbioworker", 124) << "Read is already completed sd " << 9;
    LOG_CRIT("bdbserver", __LINE__) << "listen failed sock " << 5 << " error " << 98;
    const int line = __LINE__ - 1;
    EXPECT_EQ(messages(), "[DEBUG] locking 7\n"
                          "[INFO] opened\n"
                          "[WARN] retry 2\n"
                          "[ERROR] bdbioworker 124 Read is already completed sd 9\n"
                          "[CRIT] bdbserver " +
                              std::to_string(line) + " listen failed sock 5 error 98\n");
}

TEST_F(LogLine, TakesIntegersStringsAndByteArrays)
{
    LOG_INFO << "int " << -5 << " uint " << 4294967295U << " long " << std::numeric_limits<long>::min() << " ulong "
             << std::numeric_limits<unsigned long>::max() << " string "
             << "std"s
             << " bytes " << QByteArray("raw");
    EXPECT_EQ(messages(), "[INFO] int -5 uint 4294967295 long -9223372036854775808 ulong 18446744073709551615"
                          " string std bytes raw\n");
}

TEST_F(LogLine, ByteArraysAreTheirRawCharacters)
{
    std::string all;
    for (int byte = 1; byte < 256; ++byte)
        all += static_cast<char>(byte);
    LOG_INFO << QByteArray::fromStdString(all) << "|" << QByteArray() << "|" << QByteArray::fromRawData("window", 3);
    EXPECT_EQ(messages(), "[INFO] " + all + "||win\n");
}

TEST_F(LogLine, EndsWithANewlineEvenAfterAZeroByte)
{
    LOG_INFO << "key " << QByteArray("ab\0cd", 5) << " lost";
    LOG_INFO << QByteArray("\0", 1);
    LOG_INFO << "next";
    EXPECT_EQ(messages(), "[INFO] key ab\n[INFO] \n[INFO] next\n");
}

TEST_F(LogLine, PercentSignsAreText)
{
    LOG_INFO << "100%s %n %d%%";
    EXPECT_EQ(messages(), "[INFO] 100%s %n %d%%\n");
}

TEST_F(LogLine, MayBeEmptyOrLong)
{
    const std::string large(1 << 20, 'x');
    LOG_INFO << "";
    LOG_INFO << large;
    EXPECT_EQ(messages(), "[INFO] \n[INFO] " + large + "\n");
}

} // namespace

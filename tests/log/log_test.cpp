#include "log/log.h"

#include "support/tempdir.h"

#include <QByteArray>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <clocale>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <limits>
#include <locale>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

static_assert(std::has_virtual_destructor_v<Log>);

namespace {

std::atomic<std::time_t> pretendedTime{0}; // 0 is the real one

} // namespace

// The linker leads the calls of the log and of this file here.
extern "C" std::time_t __real_time(std::time_t* result);
extern "C" std::time_t __wrap_time(std::time_t* result)
{
    const std::time_t pretended = pretendedTime;
    if (pretended == 0)
        return __real_time(result);
    if (result != nullptr)
        *result = pretended;
    return pretended;
}

namespace {

using namespace std::string_literals;

// As they are before anything was set.
const bool debugAtStart = Log::enabled(LogDebug);
const bool infoAtStart = Log::enabled(LogInfo);

/** "[Mon Jan 07 09:05:03 2019] ", in any year of four digits. */
const char* const timePattern = R"(\[(Sun|Mon|Tue|Wed|Thu|Fri|Sat) )"
                                R"((Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) )"
                                R"((0[1-9]|[12][0-9]|3[01]) [0-2][0-9]:[0-5][0-9]:[0-6][0-9] [0-9]{4}\] )";

/** Lets the process believe in a local time zone and a time while it lives. */
class PretendedTime {
public:
    PretendedTime(const char* zone, std::time_t time)
    {
        setenv("TZ", zone, 1);
        tzset();
        pretendedTime = time;
    }
    ~PretendedTime()
    {
        pretendedTime = 0;
        unsetenv("TZ");
        tzset();
    }
    PretendedTime(const PretendedTime&) = delete;
    PretendedTime& operator=(const PretendedTime&) = delete;
};

/** A log file of its own for each test, opened as the server does. */
class LogTest : public testing::Test {
protected:
    LogTest() : path_(directory_.file("log")) { open(); }
    ~LogTest() override
    {
        close();
        Log::setThreshold(LogInfo);
    }

    void open()
    {
        file_ = std::fopen(path_.c_str(), "a");
        ASSERT_NE(file_, nullptr);
        Log::setDestination(file_);
    }

    void close()
    {
        Log::setDestination(nullptr);
        std::fclose(file_);
    }

    /** What has reached the file, read through another descriptor: what is still buffered does not count. */
    std::string text() const
    {
        std::ifstream file(path_, std::ios::binary);
        std::ostringstream all;
        all << file.rdbuf();
        return all.str();
    }

    /** The same without the time at the start of each line. */
    std::string messages() const
    {
        constexpr std::size_t prefix = sizeof "[Mon Jan 07 09:05:03 2019] " - 1;
        std::string result = text();
        for (std::size_t begin = 0; begin < result.size();) {
            if (result.size() - begin >= prefix && result[begin] == '[' && result[begin + prefix - 2] == ']')
                result.erase(begin, prefix);
            const std::size_t end = result.find('\n', begin);
            begin = end == std::string::npos ? result.size() : end + 1;
        }
        return result;
    }

    const std::string& path() const { return path_; }

private:
    TempDir directory_;
    std::string path_;
    std::FILE* file_ = nullptr;
};

using LogLine = LogTest;
using LogThreshold = LogTest;
using LogDestination = LogTest;
using LogRaw = LogTest;
using LogThreads = LogTest;

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
    ASSERT_THAT(line, testing::MatchesRegex(timePattern + "\\[INFO\\] message\n"s));
    std::tm parts{};
    ASSERT_NE(strptime(line.c_str(), "[%a %b %d %T %Y]", &parts), nullptr) << line;
    parts.tm_isdst = -1;
    const std::time_t written = std::mktime(&parts);
    EXPECT_LE(before, written);
    EXPECT_LE(written, after);
}

TEST_F(LogLine, TimeIsEnglishWhateverTheLocale)
{
    /** Groups digits and names days, months and truth in its own way, as the locale of a user may. */
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

/** Counts how often it is written. */
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

TEST_F(LogDestination, DiscardsLinesWhileThereIsNone)
{
    close();
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    LOG_CRIT("bdbserver", 1) << "lost";
    Log::writeRaw("lost as well");
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    open();
    LOG_INFO << "kept";
    EXPECT_EQ(messages(), "[INFO] kept\n");
}

TEST_F(LogDestination, IsAppendedTo)
{
    close();
    std::ofstream(path()) << "from an earlier run\n";
    open();
    LOG_INFO << "one";
    close();
    open();
    LOG_INFO << "two";
    EXPECT_EQ(messages(), "from an earlier run\n[INFO] one\n[INFO] two\n");
}

TEST_F(LogDestination, HasEachLineAtOnce)
{
    std::string expected;
    for (int i = 0; i < 100; ++i) {
        LOG_INFO << "line " << i;
        expected += "[INFO] line " + std::to_string(i) + '\n';
        ASSERT_EQ(messages(), expected);
    }
}

TEST_F(LogDestination, GetsEachLineInOneWrite)
{
    // This is what keeps the lines of threads apart. An unbuffered stream, as standard error is, shows the writes.
    std::vector<std::string> writes;
    const cookie_io_functions_t collect = {nullptr,
                                           [](void* cookie, const char* data, std::size_t size) -> ssize_t {
                                               static_cast<std::vector<std::string>*>(cookie)->emplace_back(data, size);
                                               return static_cast<ssize_t>(size);
                                           },
                                           nullptr, nullptr};
    std::FILE* stream = fopencookie(&writes, "a", collect);
    ASSERT_NE(stream, nullptr);
    ASSERT_EQ(std::setvbuf(stream, nullptr, _IONBF, 0), 0);
    Log::setDestination(stream);
    {
        const PretendedTime time("UTC0", 1546851903);
        LOG_WARN << "retry " << 2;
        LOG_ERROR("bdb", 7) << QByteArray("bytes");
        Log::writeRaw("raw");
    }
    Log::setDestination(nullptr);
    std::fclose(stream);
    EXPECT_EQ(writes, (std::vector<std::string>{"[Mon Jan 07 09:05:03 2019] [WARN] retry 2\n",
                                                "[Mon Jan 07 09:05:03 2019] [ERROR] bdb 7 bytes\n", "raw\n"}));
}

TEST_F(LogDestination, MayBeStandardError)
{
    testing::internal::CaptureStderr();
    Log::setDestination(stderr);
    {
        const PretendedTime time("UTC0", 1546851903);
        LOG_ERROR("bdb", 7) << "to the console";
    }
    Log::setDestination(nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "[Mon Jan 07 09:05:03 2019] [ERROR] bdb 7 to the console\n");
    EXPECT_EQ(text(), "");
}

TEST_F(LogDestination, MayFailWithoutHarm)
{
    std::FILE* full = std::fopen("/dev/full", "a");
    ASSERT_NE(full, nullptr);
    Log::setDestination(full);
    LOG_INFO << "no space left";
    Log::writeRaw("no space left");
    Log::setDestination(nullptr);
    std::fclose(full);
    EXPECT_EQ(text(), "");
}

TEST_F(LogRaw, WritesTextAndNewlineOnly)
{
    Log::setThreshold(LogCrit + 1);
    Log::writeRaw("statistics 100%");
    Log::writeRaw("");
    Log::writeRaw("two\nlines");
    Log::writeRaw(std::string_view("window", 3));
    EXPECT_EQ(text(), "statistics 100%\n\ntwo\nlines\nwin\n");
}

TEST_F(LogThreads, LinesAreWholeAndInOrder)
{
    constexpr int threadCount = 8;
    constexpr int lineCount = 400;
    std::vector<std::thread> threads;
    for (int id = 0; id < threadCount; ++id) {
        threads.emplace_back([id] {
            const QByteArray filler(60 * id + 1, static_cast<char>('a' + id));
            for (int number = 0; number < lineCount; ++number) {
                LOG_DEBUG << "below";
                if (number % 10 == 9)
                    Log::writeRaw("raw " + std::to_string(id) + ' ' + std::to_string(number) + ' ' +
                                  filler.toStdString());
                else
                    LOG_WARN << "thread " << id << ' ' << number << ' ' << filler;
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();

    const testing::Matcher<std::string> whole =
        testing::MatchesRegex("("s + timePattern + "\\[WARN\\] thread|raw) [0-7] [0-9]+ [a-h]+");
    std::map<int, int> next;
    std::istringstream lines(text());
    int total = 0;
    for (std::string line; std::getline(lines, line); ++total) {
        ASSERT_THAT(line, whole);
        std::istringstream stream(line);
        const std::vector<std::string> words{std::istream_iterator<std::string>(stream), {}};
        const int id = std::stoi(words[words.size() - 3]);
        const int number = std::stoi(words[words.size() - 2]);
        EXPECT_EQ(number, next[id]++) << line;
        EXPECT_EQ(words.back(), std::string(static_cast<std::size_t>(60 * id + 1), static_cast<char>('a' + id)));
    }
    EXPECT_EQ(total, threadCount * lineCount);
}

} // namespace

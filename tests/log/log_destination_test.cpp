// Where lines are written, and how.
#include "logfixture.h"

#include <QByteArray>

#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

static_assert(std::has_virtual_destructor_v<Log>);

namespace {

using LogDestination = LogTest;
using LogRaw = LogTest;

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

TEST_F(LogDestination, HasEachLineImmediately)
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
    // This keeps the lines of different threads apart. An unbuffered stream, like standard error, shows the writes.
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

} // namespace

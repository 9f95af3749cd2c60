#ifndef QUORVA_TESTS_LOG_LOGFIXTURE_H
#define QUORVA_TESTS_LOG_LOGFIXTURE_H

#include "log/log.h"
#include "support/files.h"
#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstdio>
#include <ctime>
#include <string>

/** A regular expression for "[Mon Jan 07 09:05:03 2019] ". */
inline constexpr const char* TimePattern = R"(\[(Sun|Mon|Tue|Wed|Thu|Fri|Sat) )"
                                           R"((Jan|Feb|Mar|Apr|May|Jun|Jul|Aug|Sep|Oct|Nov|Dec) )"
                                           R"((0[1-9]|[12][0-9]|3[01]) [0-2][0-9]:[0-5][0-9]:[0-6][0-9] [0-9]{4}\] )";

/** While this lives, the process has that time zone, and time() returns that time. */
class PretendedTime {
public:
    PretendedTime(const char* zone, std::time_t time);
    ~PretendedTime();
    PretendedTime(const PretendedTime&) = delete;
    PretendedTime& operator=(const PretendedTime&) = delete;
};

/** A log file for each test, opened as the server opens its own. */
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

    /** What has reached the file, without what is still buffered. */
    std::string text() const { return readFile(path_); }

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

#endif

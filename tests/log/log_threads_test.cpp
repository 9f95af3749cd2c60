#include "logfixture.h"

#include <QByteArray>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstddef>
#include <iterator>
#include <map>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::string_literals;

using LogThreads = LogTest;

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
        testing::MatchesRegex("("s + TimePattern + "\\[WARN\\] thread|raw) [0-7] [0-9]+ [a-h]+");
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

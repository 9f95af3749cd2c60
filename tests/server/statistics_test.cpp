#include "support/backupfixture.h"
#include "support/patterns.h"
#include "support/writeload.h"

#include <array>

namespace {

using testing::Each;

/** A server with a verbosity level, and what its environments print at that level. */
class Statistics : public TableTest, public testing::WithParamInterface<int> {
protected:
    Statistics() : TableTest({.arguments = {"-s", std::to_string(GetParam())}}) {}
};

// The last line of each kind of statistics, and the lowest level at which it is printed.
struct Kind {
    int level;
    const char* lastLine;
};
constexpr std::array Kinds{Kind{4, "Maximum hash bucket length"}, Kind{8, "Active transactions"},
                           Kind{12, "Mutex counts"}, Kind{16, "On-disk log file offset"},
                           Kind{20, "The number of times a sync is interrupted"}};

/** One of our lines, intact: not mixed with another line. */
bool isPrefixed(const std::string& line)
{
    static const std::string prefix = "\\[[A-Z][a-z]{2} [A-Z][a-z]{2} [0-9]{2} [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4}\\] "
                                      "\\[(DEBUG|INFO|WARN|ERROR|CRIT)\\] ";
    return Patterns::countIn(line, '^' + prefix) == 1 && Patterns::countIn(line, prefix) == 1;
}

/** A line of Berkeley DB's statistics: a value, a tab and its description; or a heading, or one of its entries. */
bool isStatistic(const std::string& line)
{
    static const std::string time = "[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9]{2}:[0-9]{2}:[0-9]{2} [0-9]{4}";
    static const std::string value = "([0-9][^\\t\\[]{0,30}|" // a number with its unit, an address, a log position
                                     "[A-Z][a-z]{2} [A-Z][a-z]{2} [ 0-9][0-9] [0-9:]{8} [0-9]{4})" // a time
                                     "\\t[A-Za-z][^\\t\\[]{2,100}";
    static const std::string listed = "\\t[0-9a-f]{8}: [^\\t\\[]{10,300}";
    return line.empty() || Patterns::matches(line, time) || Patterns::matches(line, value) ||
           Patterns::matches(line, listed) || line == "Active transactions:" || line == "Mutex counts" ||
           line.starts_with("Pool File: ");
}

} // namespace

TEST_P(Statistics, OfTheLevelAndBelowArePrintedAndTearNoLine)
{
    createTable(tableName());
    WriteLoad load(server_, tableName());
    ASSERT_TRUE(load.waitForMore(20));
    // Each environment prints when it is opened; meanwhile, other connections log what they do.
    constexpr int Environments = 8;
    for (int i = 0; i < Environments; ++i)
        createTable(tableIn(makeDirectory("env" + std::to_string(i))));
    const auto printed = [this](const char* text) {
        const std::string log = server_.logText();
        int count = 0;
        for (std::size_t at = 0; (at = log.find(text, at)) != std::string::npos; ++at)
            ++count;
        return count;
    };
    for (const Kind& kind : Kinds) {
        if (GetParam() >= kind.level) {
            EXPECT_TRUE(waitUntil([&] { return printed(kind.lastLine) >= Environments + 1; })) << kind.lastLine;
        }
    }
    load.stop();
    EXPECT_TRUE(load.allAnswered());
    killServer();
    for (const Kind& kind : Kinds) {
        if (GetParam() < kind.level) {
            EXPECT_EQ(printed(kind.lastLine), 0) << kind.lastLine;
        }
    }
    int statistics = 0;
    for (const std::string& line : server_.logLines()) {
        statistics += isPrefixed(line) ? 0 : 1;
        EXPECT_TRUE(isPrefixed(line) || isStatistic(line)) << '"' << line << '"';
    }
    EXPECT_EQ(statistics > 0, GetParam() >= 4);
}

INSTANTIATE_TEST_SUITE_P(Levels, Statistics, testing::Values(0, 3, 4, 8, 12, 16, 20),
                         [](const auto& instance) { return std::to_string(instance.param); });

// An export is on disk when the tool reports it.
#include "powerlossfixture.h"

#include "support/backupfixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

namespace {

TEST_F(PowerLoss, TakesNothingOfAnExportThatWasReportedAsDone)
{
    // Only the tool's machine loses power: the server continues, with a state of its own.
    CrashBench bench(Mode, seed_, {});
    const TempDir state;
    const WriteBackLoss loss({.strict = bench.targets(), .state = state.path()});
    ASSERT_TRUE(bench.start());
    bench.createTables();
    for (int i = 0; i < 10; ++i)
        put(&bench, "t0", QString::number(i), 1000);
    const std::string file = bench.targets() + "/t0.jsonl";
    const auto exported = [&](std::map<std::string, std::string> variables) {
        variables.merge(loss.environment());
        const ProgramRun run = bench.quorvactl(
            {"--port", std::to_string(bench.server().port()), "export", bench.home() + "|t0", file}, variables);
        EXPECT_EQ(run.status, 0) << run.output << run.error;
        std::string bytes = readFile(file);
        loss.loseAll();
        return bytes;
    };
    const std::string first = exported({});
    EXPECT_EQ(std::count(first.begin(), first.end(), '\n'), 10);
    EXPECT_TRUE(readFile(file) == first); // not printed: they are large
    put(&bench, "t0", "one more", 1000);
    const std::string second = exported({});
    EXPECT_EQ(std::count(second.begin(), second.end(), '\n'), 11);
    EXPECT_TRUE(readFile(file) == second);
    EXPECT_EQ(namesIn(bench.targets()), std::vector<std::string>{"t0.jsonl"});

    put(&bench, "t0", "another", 1000);
    (void)exported({{"CRASH_IGNORE_SYNC", "1"}}); // ignored: it is lost
    EXPECT_TRUE(readFile(file) == second) << "a disk that only claims to have synchronised is noticed";
}

} // namespace

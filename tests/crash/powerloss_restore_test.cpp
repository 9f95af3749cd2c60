// A restored environment is on disk when the tool reports it.
#include "powerlossfixture.h"

#include "support/directorycontents.h"
#include "support/tablefixture.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <map>
#include <random>
#include <string>

namespace {

namespace fs = std::filesystem;

TEST_F(PowerLoss, TakesNothingOfWhatWasReportedAsRestored)
{
    CrashBench bench(Mode, seed_, {});
    ASSERT_TRUE(bench.start());
    bench.createTables();
    beginWriting(&bench);
    stopWriting(&bench);
    const NotedBackup backup = backUp(&bench);
    for (const bool isThere : {false, true}) {
        const std::string restored = bench.targets() + (isThere ? "/empty" : "/absent");
        if (isThere) {
            fs::create_directory(restored);
            bench.loss().settle(restored);
        }
        const ProgramRun run = bench.quorvactl({"restore", backup.target(), restored});
        ASSERT_EQ(run.status, 0) << run.output << run.error;
        const std::map<std::string, std::string> before = contentsOf(restored);
        bench.server().kill();
        bench.waitForKill();
        bench.loss().loseAll();
        EXPECT_TRUE(contentsOf(restored) == before); // not printed: it is large
        ASSERT_TRUE(bench.start());
        bench.verifyCopy(QString::fromStdString(restored), backup.least());
    }
}

/**
 * The tool is killed at each of its synchronisations in turn, and all or some of what was not synchronised is lost.
 * Then a server opens the directory with everything in it, or not at all.
 */
TEST_F(PowerLoss, LeavesAllOfARestoredEnvironmentOrNone)
{
    CrashBench bench(Mode, seed_, {});
    ASSERT_TRUE(bench.start());
    bench.createTables();
    put(&bench, "t0", "r", 10);
    put(&bench, "t1", "r", 10);
    const NotedBackup backup = backUp(&bench);
    const TempDir state; // the server continues, with a state of its own
    const WriteBackLoss loss({.strict = bench.targets(), .state = state.path()});
    const std::string restored = bench.targets() + "/restored";
    std::minstd_rand random(seed_);
    int opened = 0;
    int sync = 0;
    arm();
    for (int status = -SIGKILL; status == -SIGKILL && sync < 200;) {
        std::map<std::string, std::string> variables = loss.environment();
        variables.merge(killedWhenSynchronising("/targets", ++sync));
        status = bench.quorvactl({"restore", backup.target(), restored}, variables).status;
        ASSERT_TRUE(status == 0 || status == -SIGKILL) << status;
        if (sync % 3 == 0)
            loss.loseAll();
        else
            loss.loseSome(&random);
        CrashClient reader(bench.server().port(), QString::fromStdString(restored));
        if (reader.description("t0").value_or(QVariantMap()).isEmpty()) {
            EXPECT_NE(status, 0) << "it was reported as restored";
        } else {
            ++opened;
            bench.verifyCopy(QString::fromStdString(restored), backup.least());
            for (const char* table : {"t0", "t1"})
                EXPECT_FALSE(reader.item({table, "h", "r"}).value_or(QVariantMap()).isEmpty()) << table;
            EXPECT_EQ(reader.request("DeleteTable", {{"TableName", reader.tableName("t0")}}), okReply()); // closes it
        }
        ASSERT_FALSE(HasFailure()) << "killed at synchronisation " << sync;
        for (const auto& entry : fs::directory_iterator(bench.targets())) {
            if (entry.path() != backup.target())
                fs::remove_all(entry.path());
        }
        loss.settle(bench.targets());
    }
    disarm();
    EXPECT_GT(sync, 10);
    EXPECT_GT(opened, 0);
}

} // namespace

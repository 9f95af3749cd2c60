/*
 * Writers, a kill at a random moment, a restart, and a check of everything that was acknowledged. In each phase of a
 * server's life, with and without the loss of data that was not synced to disk.
 *
 * script/crash runs these tests for longer. A seed reproduces the choices, not the timing, which depends on the threads
 * of server and writers.
 */
#include "crashbench.h"
#include "notedbackup.h"
#include "seededtest.h"

#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <atomic>
#include <iostream>
#include <thread>

namespace {

using namespace std::chrono_literals;

class CrashTest : public SeededTest, public testing::WithParamInterface<CrashMode> {
protected:
    CrashTest() : SeededTest(GetParam()) {}

    /** Rounds of writing, a crash in the middle, a restart and a check of everything. `crash` ends the server. */
    template <typename Crash> void crashWhileItWrites(CrashBench& bench, int rounds, Crash&& crash)
    {
        for (int round = 0; round < rounds; ++round) {
            bench.writers().start(bench.server().port());
            crash();
            ASSERT_TRUE(bench.start());
            bench.verify();
            if (HasFailure())
                return;
        }
        bench.verifyFiles();
    }

    /** The same with a crash at a random time after the writers have started. */
    void crashWhileItWrites(CrashBench& bench, int rounds, std::chrono::microseconds least,
                            std::chrono::microseconds most)
    {
        crashWhileItWrites(bench, rounds, [&] {
            bench.pause(least, most);
            bench.crash();
        });
    }

    const int rounds_ = crashRounds();
};

TEST_P(CrashTest, WhileItWrites)
{
    CrashBench bench(GetParam(), seed_, {});
    ASSERT_TRUE(bench.start());
    bench.createTables();
    crashWhileItWrites(bench, rounds_, 2ms, 500ms);
}

TEST_P(CrashTest, WhileLogFilesFillUp)
{
    CrashBench bench(GetParam(), seed_, {.largeValues = true});
    ASSERT_TRUE(bench.start());
    bench.createTables();
    crashWhileItWrites(bench, rounds_, 100ms, 1000ms);
}

TEST_P(CrashTest, WhileEnvironmentTablesAndPartitionsAreTouchedFirst)
{
    for (int round = 0; round < rounds_; ++round) {
        CrashBench bench(GetParam(), seed_ + static_cast<unsigned>(round), {.firstTouch = true});
        ASSERT_TRUE(bench.start());
        crashWhileItWrites(bench, 2, 500us, 300ms);
        if (HasFailure())
            return;
    }
}

TEST_P(CrashTest, WhileTablesAreCreated)
{
    CrashBench bench(GetParam(), seed_, {.createTables = true});
    ASSERT_TRUE(bench.start());
    bench.createTables();
    crashWhileItWrites(bench, rounds_, 1ms, 200ms);
}

/** Closes the environment repeatedly: each closing and each opening writes a checkpoint. */
TEST_P(CrashTest, WhileCheckpointsAreWritten)
{
    CrashBench bench(GetParam(), seed_, {.largeValues = true});
    ASSERT_TRUE(bench.start());
    bench.createTables();
    crashWhileItWrites(bench, rounds_, [&] {
        std::atomic<bool> stop{false};
        std::atomic<int> closings{0};
        std::thread closer([&] {
            CrashClient client = bench.client();
            while (!stop && client.request("DeleteTable", {{"TableName", client.tableName("t0")}}))
                ++closings;
        });
        EXPECT_TRUE(waitUntil([&] { return closings > 0; }));
        bench.pause(2ms, 400ms);
        bench.crash();
        stop = true;
        closer.join();
    });
}

TEST_P(CrashTest, WhileItRecovers)
{
    CrashBench bench(GetParam(), seed_, {});
    ASSERT_TRUE(bench.start());
    bench.createTables();
    crashWhileItWrites(bench, rounds_, [&] {
        bench.pause(100ms, 500ms);
        bench.crash();
        for (unsigned more = bench.upTo(4) + 1; more > 0; --more) {
            ASSERT_TRUE(bench.start());
            std::thread opener([&] {
                CrashClient client = bench.client();
                (void)client.description("t0"); // ignored: there is usually no reply
            });
            bench.pause(300us, 80ms);
            bench.crash();
            opener.join();
        }
    });
}

TEST_P(CrashTest, WhileABackupIsMade)
{
    CrashBench bench(GetParam(), seed_, {.largeValues = true});
    ASSERT_TRUE(bench.start());
    bench.createTables();
    std::optional<NotedBackup> complete; // the last complete one
    for (int round = 0; round < rounds_; ++round) {
        // Log shipping continues a complete backup; it has the log files from before the restart to ship.
        std::optional<NotedBackup> started;
        if (!complete || bench.upTo(2) == 0) {
            started.emplace(bench.targets() + "/backup" + std::to_string(round));
            started->markAndCreate();
            bench.loss().settle(started->target());
        }
        const QString target = QString::fromStdString((started ? *started : *complete).target());
        CrashClient client = bench.client();
        bench.writers().start(bench.server().port());
        bench.pause(1ms, 100ms);
        const auto reply = client.request(
            "UpdateTable", {{"TableName", client.tableName("t0")},
                            {"ProvisionedThroughput", QVariantMap{{started ? "DbBackup" : "UpdateDbBackup", target}}}});
        EXPECT_EQ(reply.value_or(QVariantMap()).value("__rc"), QVariant(200LL));
        if (started) {
            started->noteUntil(bench.ledger(), [&] {
                bench.pause(2ms, 800ms);
                bench.crash();
            });
        } else {
            bench.pause(500us, 100ms);
            bench.crash();
        }
        if (started && started->isComplete())
            complete = started;

        // Restored without a server, while the ledger still knows what was in flight.
        if (started && !started->isComplete()) {
            const ProgramRun run = bench.quorvactl({"restore", started->target(), started->target() + ".restored"});
            EXPECT_EQ(run.status, 1) << run.output << run.error;
        }
        const std::string restored = bench.targets() + "/restored" + std::to_string(round);
        if (complete) {
            const ProgramRun run = bench.quorvactl({"restore", complete->target(), restored});
            EXPECT_EQ(run.status, 0) << "seed " << seed_ << run.output << run.error;
            bench.losePower();
        }
        ASSERT_TRUE(bench.start());
        if (complete)
            bench.verifyCopy(QString::fromStdString(restored), complete->least());
        bench.verify();
        if (HasFailure())
            return;
    }
    bench.verifyFiles();
}

INSTANTIATE_TEST_SUITE_P(Modes, CrashTest,
                         testing::Values(CrashMode{"Kill", false, false}, CrashMode{"PowerLoss", true, false},
                                         CrashMode{"PowerLossWithDataSync", true, true}),
                         [](const auto& mode) { return mode.param.name; });

} // namespace

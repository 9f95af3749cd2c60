/*
 * What was reported as done is on disk: the power fails at once after it, and takes everything that nobody has
 * synchronised.
 */
#include "crashbench.h"
#include "notedbackup.h"

#include "backup/backupfixture.h"
#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <map>
#include <random>
#include <string>

namespace {

namespace fs = std::filesystem;

constexpr CrashMode Mode{"PowerLoss", true, false};

class PowerLoss : public testing::Test {
protected:
    void SetUp() override
    {
#ifdef QUORVA_SANITIZED
        GTEST_SKIP() << "a sanitizer wants to be the first library of its process";
#endif
        std::cout << "seed " << seed_ << std::endl;
        RecordProperty("seed", std::to_string(seed_));
    }

    /** A server that is killed when it has removed a file whose path holds `removed`, once arm() was called. */
    std::map<std::string, std::string> killedWhenRemoving(const std::string& removed) const
    {
        return {{"CRASH_KILL_FILE", armed_}, {"CRASH_KILL_REMOVED", removed}};
    }
    /** A program that is killed at a synchronisation, from 1, of what has `name` in its path. */
    std::map<std::string, std::string> killedWhenSynchronising(const std::string& name, int sync) const
    {
        return {{"CRASH_KILL_FILE", armed_}, {"CRASH_KILL_NAME", name}, {"CRASH_KILL_SYNC", std::to_string(sync)}};
    }
    void arm() const
    {
        std::ofstream(armed_).flush();
    }
    void disarm() const
    {
        fs::remove(armed_);
    }

    static void act(CrashBench* bench, const char* action, const std::string& target)
    {
        CrashClient client = bench->client();
        (void)client.request("UpdateTable", // ignored: the server may be killed before it replies
                             {{"TableName", client.tableName("t0")},
                              {"ProvisionedThroughput", QVariantMap{{action, QString::fromStdString(target)}}}});
    }

    /** A target with the marker in it, which is durable. */
    static NotedBackup makeTarget(const CrashBench& bench)
    {
        NotedBackup backup(bench.targets() + "/backup");
        backup.markAndCreate();
        bench.loss().settle(backup.target());
        return backup;
    }

    static void put(CrashBench* bench, const QString& table, const QString& range, int size)
    {
        CrashClient client = bench->client();
        const QVariantMap item{{"h", textValue("h")}, {"r", textValue(range)}, {"v", textValue(QString(size, 'v'))}};
        const auto reply = client.request("PutItem", {{"TableName", client.tableName(table)}, {"Item", item}});
        EXPECT_EQ(reply.value_or(QVariantMap()).value("__rc"), QVariant(200LL));
    }

    /** Returns while the writers go on. */
    static void beginWriting(CrashBench* bench)
    {
        const long long before = bench->ledger().acknowledgements();
        bench->writers().start(bench->server().port());
        EXPECT_TRUE(waitUntil([&] { return bench->ledger().acknowledgements() >= before + 300; }));
    }
    static void stopWriting(CrashBench* bench)
    {
        bench->writers().stop();
        bench->writers().join();
    }

    /** A complete backup of all that is acknowledged; it is durable. */
    static NotedBackup backUp(CrashBench* bench)
    {
        NotedBackup backup = makeTarget(*bench);
        backup.note(bench->ledger());
        act(bench, "DbBackup", backup.target());
        EXPECT_TRUE(waitUntil([&] { return backup.isComplete(); })) << bench->server().logText();
        bench->loss().settle(backup.target());
        return backup;
    }

    const unsigned seed_ = crashSeed();

private:
    const TempDir directory_;
    const std::string armed_ = directory_.file("armed");
};

TEST_F(PowerLoss, TakesNothingOfAnExportThatWasReportedAsDone)
{
    // Only the tool's machine loses its power: the server goes on, with a state of its own.
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
    EXPECT_TRUE(readFile(file) == first); // not shown: they are large
    put(&bench, "t0", "one more", 1000);
    const std::string second = exported({});
    EXPECT_EQ(std::count(second.begin(), second.end(), '\n'), 11);
    EXPECT_TRUE(readFile(file) == second);
    EXPECT_EQ(namesIn(bench.targets()), std::vector<std::string>{"t0.jsonl"});

    put(&bench, "t0", "another", 1000);
    (void)exported({{"CRASH_IGNORE_SYNC", "1"}}); // ignored: it is lost
    EXPECT_TRUE(readFile(file) == second) << "a disk that only claims to have synchronised is noticed";
}

TEST_F(PowerLoss, OfADiskThatOnlyClaimsToHaveSynchronisedIsNoticed)
{
    CrashBench bench(Mode, seed_, {}, {{"CRASH_IGNORE_SYNC", "1"}});
    ASSERT_TRUE(bench.start());
    bench.createTables();
    const NotedBackup durable = backUp(&bench);
    NotedBackup lost(bench.targets() + "/lost");
    lost.markAndCreate();
    bench.loss().settle(lost.target());
    act(&bench, "DbBackup", lost.target());
    EXPECT_TRUE(waitUntil([&] { return lost.isComplete(); })) << bench.server().logText();
    const std::string restored = bench.targets() + "/restored";
    const ProgramRun run = bench.quorvactl({"restore", durable.target(), restored}, {{"CRASH_IGNORE_SYNC", "1"}});
    EXPECT_EQ(run.status, 0) << run.output << run.error;
    bench.server().kill();
    bench.waitForKill();
    bench.loss().loseAll();
    EXPECT_FALSE(fs::exists(restored));
    EXPECT_EQ(namesIn(lost.target()), std::vector<std::string>{"BackupInProgress.tmp"});
}

} // namespace

/*
 * What was reported as done is on disk: the power fails at once after it, and takes everything that nobody has
 * synchronised.
 */
#include "crashbench.h"
#include "notedbackup.h"

#include "support/backupfixture.h"
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
        // Then the server synchronises nothing more, which settle() is not for while it goes on.
        EXPECT_TRUE(bench->server().waitForLog("Starting BDBHotBackupThread.log_archive"));
        EXPECT_TRUE(backup.isComplete()) << bench->server().logText();
        bench->loss().settle(backup.target());
        return backup;
    }

    const unsigned seed_ = crashSeed();

private:
    const TempDir directory_;
    const std::string armed_ = directory_.file("armed");
};

TEST_F(PowerLoss, TakesNothingOfACopyWhoseMarkerHasGone)
{
    CrashBench bench(Mode, seed_, {}, killedWhenRemoving("BackupInProgress.tmp"));
    fs::create_directory(bench.home() + "/sub");
    ASSERT_TRUE(bench.start());
    bench.createTables();
    CrashClient client = bench.client();
    EXPECT_EQ(client.request("CreateTable", {{"TableName", client.tableName("sub/t")}, {"KeySchema", keySchema()}})
                  .value_or(QVariantMap())
                  .value("__rc"),
              QVariant(200LL));
    put(&bench, "sub/t", "r", 10);
    NotedBackup backup = makeTarget(bench);
    beginWriting(&bench);
    arm();
    backup.noteUntil(bench.ledger(), [&] {
        act(&bench, "DbBackup", backup.target());
        bench.waitForKill();
    });
    disarm();
    ASSERT_TRUE(backup.isComplete()) << bench.server().logText();
    bench.loss().loseAll();
    fs::remove(backup.marker()); // its removal, of all things, may have reached the disk
    const std::string restored = bench.targets() + "/restored";
    const ProgramRun run = bench.quorvactl({"restore", backup.target(), restored});
    ASSERT_EQ(run.status, 0) << run.output << run.error;
    ASSERT_TRUE(bench.start());
    bench.verifyCopy(QString::fromStdString(restored), backup.least());
    CrashClient reader(bench.server().port(), QString::fromStdString(restored));
    EXPECT_EQ(reader.item({"sub/t", "h", "r"}).value_or(QVariantMap()).value("v"), QVariant(textValue("vvvvvvvvvv")));
    bench.verify();
}

TEST_F(PowerLoss, TakesNothingOfALogFileThatHasLeftTheEnvironment)
{
    CrashBench bench(Mode, seed_, {}, killedWhenRemoving("/env/log."));
    ASSERT_TRUE(bench.start());
    bench.createTables();
    const NotedBackup backup = backUp(&bench);
    for (int i = 0; !fs::exists(bench.home() + '/' + logName(3)); ++i)
        put(&bench, "t0", QString::number(i), 400'000);
    CrashClient client = bench.client();
    EXPECT_EQ(client.request("DeleteTable", {{"TableName", client.tableName("t0")}}), okReply()); // a checkpoint
    arm();
    act(&bench, "UpdateDbBackup", backup.target());
    bench.waitForKill();
    disarm();
    ASSERT_FALSE(fs::exists(bench.home() + '/' + logName(1)));
    const std::string shipped = backup.target() + "/__log__/" + logName(1);
    const std::string bytes = readFile(shipped);
    EXPECT_GT(bytes.size(), 9'000'000U);
    bench.loss().loseAll();
    EXPECT_TRUE(fs::exists(shipped));
    EXPECT_TRUE(readFile(shipped) == bytes); // not shown: it is large
    const ProgramRun run = bench.quorvactl({"restore", backup.target(), bench.targets() + "/restored"});
    EXPECT_EQ(run.status, 0) << run.output << run.error;
}

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
        EXPECT_TRUE(contentsOf(restored) == before); // not shown: it is large
        ASSERT_TRUE(bench.start());
        bench.verifyCopy(QString::fromStdString(restored), backup.least());
    }
}

/**
 * Killed at each of its synchronisations in turn; of what the disk has not been asked for, all is lost or some. Then a
 * server opens the directory with everything in it, or not at all.
 */
TEST_F(PowerLoss, LeavesAllOfARestoredEnvironmentOrNone)
{
    CrashBench bench(Mode, seed_, {});
    ASSERT_TRUE(bench.start());
    bench.createTables();
    put(&bench, "t0", "r", 10);
    put(&bench, "t1", "r", 10);
    const NotedBackup backup = backUp(&bench);
    const TempDir state; // the server goes on, with one of its own
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

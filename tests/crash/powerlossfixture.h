#ifndef QUORVA_TESTS_CRASH_POWERLOSSFIXTURE_H
#define QUORVA_TESTS_CRASH_POWERLOSSFIXTURE_H

#include "crashbench.h"
#include "notedbackup.h"
#include "seededtest.h"

#include "support/tempdir.h"
#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <string>

/** The power fails right after something was reported as done, and everything that was not synced is lost. */
class PowerLoss : public SeededTest {
protected:
    static constexpr CrashMode Mode{"PowerLoss", true, false};

    PowerLoss() : SeededTest(Mode) {}

    /** For a server that is killed when it has removed a file whose path contains `removed`, after arm(). */
    std::map<std::string, std::string> killedWhenRemoving(const std::string& removed) const
    {
        return {{"CRASH_KILL_FILE", armed_}, {"CRASH_KILL_REMOVED", removed}};
    }
    /** For a program that is killed at the synchronisation of that number, from 1, of paths that contain `name`. */
    std::map<std::string, std::string> killedWhenSynchronising(const std::string& name, int sync) const
    {
        return {{"CRASH_KILL_FILE", armed_}, {"CRASH_KILL_NAME", name}, {"CRASH_KILL_SYNC", std::to_string(sync)}};
    }
    void arm() const { std::ofstream(armed_).flush(); }
    void disarm() const { std::filesystem::remove(armed_); }

    static void act(CrashBench* bench, const char* action, const std::string& target)
    {
        CrashClient client = bench->client();
        (void)client.request("UpdateTable", // ignored: the server may be killed before it replies
                             {{"TableName", client.tableName("t0")},
                              {"ProvisionedThroughput", QVariantMap{{action, QString::fromStdString(target)}}}});
    }

    /** A backup target with its marker, which is durable. */
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

    /** Returns while the writers are running. */
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

    /** A complete and durable backup of all that is acknowledged. */
    static NotedBackup backUp(CrashBench* bench)
    {
        NotedBackup backup = makeTarget(*bench);
        backup.note(bench->ledger());
        act(bench, "DbBackup", backup.target());
        // From here on the server synchronises nothing, as settle() requires.
        EXPECT_TRUE(bench->server().waitForLog("Starting BDBHotBackupThread.log_archive"));
        EXPECT_TRUE(backup.isComplete()) << bench->server().logText();
        bench->loss().settle(backup.target());
        return backup;
    }

private:
    const TempDir directory_;
    const std::string armed_ = directory_.file("armed");
};

#endif

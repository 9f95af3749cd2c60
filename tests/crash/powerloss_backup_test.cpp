// Backups and shipped log files are on disk when the server reports them.
#include "powerlossfixture.h"

#include "support/backupfixture.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

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
    fs::remove(backup.marker()); // its removal may have reached the disk
    const std::string restored = bench.targets() + "/restored";
    const ProgramRun run = bench.quorvactl({"restore", backup.target(), restored});
    ASSERT_EQ(run.status, 0) << run.output << run.error;
    ASSERT_TRUE(bench.start());
    bench.verifyCopy(QString::fromStdString(restored), backup.least());
    CrashClient reader(bench.server().port(), QString::fromStdString(restored));
    EXPECT_EQ(reader.item({"sub/t", "h", "r"}).value_or(QVariantMap()).value("v"), QVariant(textValue("vvvvvvvvvv")));
    bench.verify();
}

/** Written soon after each opening of an environment; older log files may be shipped then. */
constexpr QLatin1StringView FirstCheckpoint{"Done txn_checkpoint 0"};

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
    (void)client.request("DescribeTable", {{"TableName", client.tableName("t0")}}); // opens the environment again
    EXPECT_TRUE(
        waitUntil([&] { return QString::fromStdString(bench.server().logText()).count(FirstCheckpoint) == 2; }));
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
    EXPECT_TRUE(readFile(shipped) == bytes); // not printed: it is large
    const ProgramRun run = bench.quorvactl({"restore", backup.target(), bench.targets() + "/restored"});
    EXPECT_EQ(run.status, 0) << run.output << run.error;
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

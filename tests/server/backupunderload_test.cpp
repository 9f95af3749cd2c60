#include "support/backupfixture.h"

#include "support/writeload.h"

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

/** With and without the option for commits that do not wait for the disk. */
class BackupUnderLoad : public BackupTest, public testing::WithParamInterface<bool> {
protected:
    BackupUnderLoad()
        : BackupTest({.arguments = GetParam() ? std::vector<std::string>{"-n"} : std::vector<std::string>{}})
    {}
};

} // namespace

TEST_P(BackupUnderLoad, HoldsEveryWriteThatWasAcknowledgedBeforeTheMarkerWasGone)
{
    WriteLoad load(server_, tableName());
    for (int i = 0; i < 3; ++i) {
        SCOPED_TRACE(i);
        ASSERT_TRUE(load.waitForMore(150));
        const std::string target = markedTarget("target" + std::to_string(i));
        EXPECT_EQ(act("DbBackup", target), accepted());
        WriteLoad::Acknowledged before;
        for (WriteLoad::Acknowledged now = load.acknowledged(); hasMarker(target); now = load.acknowledged())
            before = now; // all of this was acknowledged while the marker was still there
        const std::string copy = restored(target);
        load.expectHeldIn(itemsOf(tableIn(copy), load.hashes()), before);
    }
    load.stop();
    EXPECT_TRUE(load.allAnswered());
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_P(BackupUnderLoad, ShipsLogsWhileWritesContinueAndARestoreHasAllUpToTheLastOne)
{
    const std::string target = makeDirectory("target");
    backUpTo(target);
    // Fills a log file while others write; the checkpoint on reopening releases it.
    WriteLoad earlier(server_, tableName());
    ASSERT_TRUE(earlier.waitForMore(100));
    const WriteLoad::Acknowledged shipped = earlier.acknowledged();
    fillLogs(2); // by then, all of the above is in log file 1
    earlier.stop();
    EXPECT_TRUE(earlier.allAnswered());
    const Items all = itemsOf(tableName(), earlier.hashes());
    reopen();

    WriteLoad load(server_, tableName());
    ASSERT_TRUE(load.waitForMore(20));
    EXPECT_EQ(act("UpdateDbBackup", target), accepted());
    ASSERT_TRUE(waitUntil([&] { return !fs::exists(home() + '/' + logName(1)); })) << server_.logText();
    ASSERT_TRUE(load.waitForMore(20));
    const std::string copy = restored(target);
    load.stop();
    EXPECT_TRUE(load.allAnswered());

    EXPECT_THAT(namesIn(target + "/__log__"), ElementsAre(logName(1)));
    EXPECT_EQ(itemsOf(tableName(), earlier.hashes()), all);
    earlier.expectHeldIn(itemsOf(tableIn(copy), earlier.hashes()), shipped);
    const WriteLoad::Acknowledged last = load.acknowledged();
    restartServer();
    load.expectHeldIn(itemsOf(tableName(), load.hashes()), GetParam() ? WriteLoad::Acknowledged() : last);
}

INSTANTIATE_TEST_SUITE_P(Commits, BackupUnderLoad, testing::Bool(),
                         [](const auto& instance) { return instance.param ? "WithoutSync" : "Synced"; });

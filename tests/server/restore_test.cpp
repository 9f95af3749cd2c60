#include "restorefixture.h"

#include <ctime>

namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;

} // namespace

TEST_F(Restore, HoldsTheCopyAndEverythingUpToTheLastShippedLog)
{
    put("k", "before", {{"a", textValue("x")}});
    backUpTo(makeDirectory("backup"));
    put("k", "after", {{"a", textValue("y")}});
    fillLogs(3);
    const int inTheCopyAndTwoLogs = filled() - 1; // the latest is in log file 3
    reopen();
    ASSERT_NO_FATAL_FAILURE(shipUpTo(2));
    put("k", "not shipped", {{"a", textValue("z")}});
    const auto before = contentsOf(backup());

    const std::string copy = restored(backup());
    EXPECT_EQ(contentsOf(backup()), before);
    EXPECT_EQ(itemsOf(tableIn(copy), {"k"}),
              (Items{{{"k", "before"}, {{"a", textValue("x")}}}, {{"k", "after"}, {{"a", textValue("y")}}}}));
    EXPECT_GE(filledIn(tableIn(copy)), inTheCopyAndTwoLogs - 1) << "a record may lie across the end of a log file";
}

TEST_F(Restore, ReportsTheTimeOfTheLastCommitInIt)
{
    const auto restoredUntil = [this](const std::string& target) {
        const ProgramRun run = restore(backup(), target);
        EXPECT_EQ(run.status, 0) << run.error;
        std::tm parts = {};
        const std::size_t at = run.output.find("data until ");
        EXPECT_NE(at, std::string::npos);
        EXPECT_NE(strptime(run.output.c_str() + at, "data until %Y-%m-%d %H:%M:%S UTC\n", &parts), nullptr);
        return timegm(&parts);
    };
    const std::time_t before = std::time(nullptr);
    put("k", "before", {{"a", textValue("x")}});
    const std::time_t after = std::time(nullptr);
    ASSERT_TRUE(waitUntil([&] { return std::time(nullptr) > after; }));
    backUpTo(makeDirectory("backup"));
    const std::time_t copied = restoredUntil(pathOf("first"));
    EXPECT_GE(copied, before);
    EXPECT_LE(copied, after) << "not when the copy was made";

    // Only what has been shipped counts.
    fillLogs(3);
    const std::time_t filled = std::time(nullptr);
    reopen();
    ASSERT_NO_FATAL_FAILURE(shipUpTo(2));
    ASSERT_TRUE(waitUntil([&] { return std::time(nullptr) > filled; }));
    put("k", "not shipped", {{"a", textValue("z")}});
    const std::time_t shipped = restoredUntil(pathOf("second"));
    EXPECT_GT(shipped, after);
    EXPECT_LE(shipped, filled);
}

TEST_F(Restore, IsTheBeginningOfANextLifeThatIsBackedUpToTheSameDirectory)
{
    // The first life: a copy, followed by shipped log files.
    put("k", "first life", {{"a", textValue("x")}});
    backUpTo(makeDirectory("backup"));
    fillLogs(3);
    reopen();
    ASSERT_NO_FATAL_FAILURE(shipUpTo(2));
    // The disk is lost; the next life starts with the contents of the backup, and continues its log file numbers.
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply());
    fs::remove_all(home());
    const ProgramRun run = restore(backup(), home());
    EXPECT_EQ(run.status, 0) << run.error;
    put("k", "second life", {{"a", textValue("y")}});
    backUpTo(backup());
    const Items items = itemsOf(tableName(), {"k"});
    EXPECT_EQ(items.size(), 2U);
    EXPECT_EQ(itemsOf(tableIn(restored(backup())), {"k"}), items);
}

TEST_F(Restore, OfAnEnvironmentWithoutTables)
{
    const QString fresh = tableIn(makeDirectory("fresh"));
    const std::string target = markedTarget("backup");
    EXPECT_EQ(actOn(fresh, "DbBackup", target), accepted());
    ASSERT_TRUE(waitUntilComplete(target));
    const ProgramRun run = restore(target, pathOf("restored"));
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_EQ(run.output, "data until unknown\nrestored 0 tables with 0 items to " + pathOf("restored") + '\n');
}

TEST_F(Restore, OfAnEnvironmentWithSettingsOfItsOwnLeavesThemOut)
{
    const std::string tuned = makeDirectory("tuned");
    std::ofstream(tuned + "/DB_CONFIG") << "set_lg_max 20971520\nlog_set_config db_log_dsync off\n";
    createTable(tableIn(tuned));
    const std::string target = markedTarget("backup");
    EXPECT_EQ(actOn(tableIn(tuned), "DbBackup", target), accepted());
    ASSERT_TRUE(waitUntilComplete(target));
    EXPECT_THAT(namesIn(target), ElementsAre("BackupFiles.list", logName(1), "t"));
    const ProgramRun run = restore(target, pathOf("restored"));
    EXPECT_EQ(run.status, 0) << run.error;
    EXPECT_THAT(run.output, restoreOutput("t: 0 items\n", "1 table with 0 items", pathOf("restored")));
}

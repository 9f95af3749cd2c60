#include "backuplines.h"

#include "support/background.h"
#include "support/heldcopy.h"

#include <chrono>
#include <future>

namespace {

namespace fs = std::filesystem;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

class DeleteTableDuringBackup : public BackupTest {};

} // namespace

TEST_F(DeleteTableDuringBackup, EndsWhenTheFullCopyEndsAndOtherEnvironmentsContinueMeanwhile)
{
    put("k", "r", {{"a", textValue("x")}});
    const std::string target = markedTarget("target");
    HeldCopy held(target);
    EXPECT_EQ(act("DbBackup", target), accepted());
    ASSERT_TRUE(held.waitUntilHeld());
    auto deleted = inBackground([this] {
        return Caller(server_).request("DeleteTable", {{"TableName", tableName()}});
    });
    createTable(tableIn(makeDirectory("other")));
    held.release();
    EXPECT_EQ(deleted.get(), okReply());
    EXPECT_THAT(takeBackupLines(), Contains(copyFailed(ESPIPE)));
    EXPECT_EQ(get("k", "r"), okReply({{"Item", QVariantMap{{"a", textValue("x")}}}}));
    backUpTo(makeDirectory("another"));
}

TEST_F(DeleteTableDuringBackup, LetsAFullCopyComplete)
{
    put("k", "r", {{"a", textValue("x")}});
    const std::string target = markedTarget("target");
    EXPECT_EQ(act("DbBackup", target), accepted());
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply());
    EXPECT_FALSE(hasMarker(target)) << "the copy is over when the environment is closed";
    EXPECT_EQ(itemsOf(tableIn(restored(target)), {"k"}).size(), 1U);
}

TEST_F(DeleteTableDuringBackup, DoesNotWaitForTheNextCycleOfLogShipping)
{
    put("k", "r", {{"a", textValue("x")}});
    backUpTo(makeDirectory("target"));
    (void)takeBackupLinesUntil(DoneList);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::minutes(1)) << "a cycle is five";
    EXPECT_THAT(takeBackupLines(), IsEmpty()) << "it ends quietly";
    EXPECT_EQ(get("k", "r"), okReply({{"Item", QVariantMap{{"a", textValue("x")}}}}));
    EXPECT_EQ(act("UpdateDbBackup", pathOf("target")), accepted()) << "a thread of the new environment";
}

TEST_F(DeleteTableDuringBackup, WaitsForTheLogFilesThatAreBeingMoved)
{
    fillLogs(4);
    reopen();
    (void)takeBackupLines();
    const std::string target = makeDirectory("target");
    EXPECT_EQ(act("UpdateDbBackup", target), accepted());
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply());
    // A cycle that has started is completed first, so no more lines follow.
    EXPECT_THAT(takeBackupLines(), ElementsAre(StartList, DoneList, startShipping(3), DoneShipping));
    EXPECT_THAT(namesIn(target + "/__log__"), ElementsAre(logName(1), logName(2), logName(3)));
    EXPECT_FALSE(fs::exists(home() + '/' + logName(3)));
    EXPECT_EQ(filledIn(tableName()), filled());
}

TEST_F(DeleteTableDuringBackup, OfAnIdleThreadIsPromptToo)
{
    put("k", "r", {{"a", textValue("x")}});
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableName()}}), okReply());
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::minutes(1));
    EXPECT_THAT(takeBackupLines(), IsEmpty());
    EXPECT_EQ(get("k", "r"), okReply({{"Item", QVariantMap{{"a", textValue("x")}}}}));
}

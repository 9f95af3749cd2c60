/* Tables that are removed while their directory is being backed up, and afterwards. */
#include "restorefixture.h"

namespace {

class RemovalAndBackup : public Restore {
protected:
    void remove(const QString& table)
    {
        EXPECT_EQ(request("Quorva_1.DropTable", {{"TableName", table}}).value("__rc"), QVariant(200LL));
    }

    /** Two tables, of which the first is removed and made again, and the second is removed, in their second life. */
    void live(const QString& first, const QString& second)
    {
        remove(first);
        remove(second);
        createTable(first);
        EXPECT_EQ(put("k", "after", {}).value("__rc"), QVariant(200LL));
    }

    void expectLife(const std::string& directory)
    {
        const Items items = itemsOf(tableIn(directory), {"k"});
        ASSERT_EQ(items.size(), 1U);
        EXPECT_EQ(items.begin()->first.second, "after");
        EXPECT_EQ(request("Quorva_1.DropTable", {{"TableName", tableIn(directory, "second")}}).value("__rcstr"),
                  QVariant("Not Found"));
    }

    void SetUp() override
    {
        Restore::SetUp();
        createTable(tableName("second"));
        put("k", "before", {});
    }
};

} // namespace

TEST_F(RemovalAndBackup, ARemovalBesideACopyLeavesItWhole)
{
    const std::string target = markedTarget("backup");
    EXPECT_EQ(act("DbBackup", target), accepted());
    live(tableName(), tableName("second"));
    ASSERT_TRUE(waitUntilComplete(target)) << server_.logText();
    stopBackup();
    const std::string early = restored(target); // verifies each file
    EXPECT_EQ(request("DeleteTable", {{"TableName", tableIn(early)}}), okReply());
    std::filesystem::remove_all(early);
    backUpTo(target); // in place of the one that may have the removed tables
    stopBackup();
    expectLife(restored(target));
}

TEST_F(RemovalAndBackup, ARemovalIsInTheLogFilesThatAreShippedLater)
{
    backUpTo(makeDirectory("backup"));
    live(tableName(), tableName("second"));
    fillLogs(3);
    reopen();
    EXPECT_EQ(act("UpdateDbBackup", backup()), accepted());
    ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(shippedLog(2)); })) << server_.logText();
    stopBackup();
    expectLife(restored(backup()));
}

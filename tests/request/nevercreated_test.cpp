#include "scanqueryfixture.h"

namespace {

class NeverCreated : public ScanQueryTest {};

/** Each file takes one of the directory's places for open files for good, so a misspelt name must not cost any. */
TEST_F(NeverCreated, RequestsThatWriteNothingLeaveNoFile)
{
    const QVariantMap typo{{"TableName", tableName("typo")}};
    const QVariantMap key{{"Key", itemKey("k", "1")}};
    const QVariantMap item{{"Item", QVariantMap{{"h", textValue("k")}, {"r", textValue("1")}}}};
    EXPECT_EQ(request("GetItem", merged(typo, key)), okReply());
    EXPECT_EQ(request("DeleteItem", merged(typo, key)), okReply());
    EXPECT_EQ(request("DeleteItem", merged(typo, merged(key, {{"ReturnValues", "ALL_OLD"}}))),
              okReply({{"Attributes", QVariantMap()}}));
    const std::vector<std::pair<const char*, QVariantMap>> refused{
        {"PutItem", item}, {"Query", {{"HashKeyValue", textValue("k")}}}, {"Scan", {}}, {"DescribeTable", {}}};
    for (const auto& [operation, members] : refused) {
        EXPECT_NE(request(operation, merged(typo, members)).value("__rc"), 200) << operation;
        EXPECT_THAT(takeComplaints(), testing::Contains("[ERROR] bdbrequest # schema load failed rc 3")) << operation;
    }
    EXPECT_EQ(tableFiles("typo"), std::set<std::string>{});

    // The first write does.
    createTable(tableName("typo"));
    EXPECT_EQ(request("PutItem", merged(typo, item)).value("__rc"), 200);
    EXPECT_EQ(tableFiles("typo").size(), 2U);
}

} // namespace

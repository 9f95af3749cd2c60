// How objects are found by their descriptors.
#include "storage/bdbobjtable.h"

#include "loglines.h"
#include "storage/bdbquota.h"
#include "support/tempenv.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(GetObject, FindsAnObjectOfTheExpectedType)
{
    LogCapture log;
    BDBQuota quota;
    BDBObjTable table(8);
    const int descriptor = table.addDesc(&quota);
    EXPECT_EQ(table.getObject(descriptor, BDBQuotaType), &quota);
    EXPECT_THAT(ownLines(log), IsEmpty());
}

TEST(GetObject, ReportsATypeThatDiffers)
{
    LogCapture log;
    BDBQuota quota;
    BDBObjTable table(8);
    const int descriptor = table.addDesc(&quota);
    EXPECT_EQ(table.getObject(descriptor, BDBEnvType), nullptr);
    EXPECT_THAT(ownLines(log), ElementsAre("[ERROR] bdb # Object type mismatch (5 6) for descriptor 1"));
}

TEST(GetObject, ReportsAnEmptySlotAndADescriptorOutsideTheTable)
{
    LogCapture log;
    const BDBObjTable table(8);
    for (const int descriptor : {1, 7, 8, 9999, -1, ENV_DESC_FLAG - 1})
        EXPECT_EQ(table.getObject(descriptor, BDBIndexType), nullptr) << descriptor;
    EXPECT_THAT(ownLines(log), ElementsAre("[ERROR] bdb # Failed to get object for descriptor 1",
                                           "[ERROR] bdb # Failed to get object for descriptor 7",
                                           "[ERROR] bdb # Failed to get object for descriptor 8",
                                           "[ERROR] bdb # Failed to get object for descriptor 9999",
                                           "[ERROR] bdb # Failed to get object for descriptor -1",
                                           "[ERROR] bdb # Failed to get object for descriptor 16777215"));
}

TEST(GetObject, SaysNothingAboutDescriptorZero)
{
    LogCapture log;
    EXPECT_EQ(BDBObjTable(8).getObject(0, BDBIndexType), nullptr);
    EXPECT_EQ(BDBObjTable(0).getObject(0, BDBIndexType), nullptr);
    EXPECT_THAT(ownLines(log), IsEmpty());
}

TEST(GetObject, WithTheFlagAsksTheAttachedEnvironment)
{
    BDBQuota quota; // outlives the tables that it is put into
    TempEnv env(8);
    BDBIndex* index = env.index("orders");      // slot 1 of the environment
    ASSERT_EQ(env.table()->addDesc(&quota), 1); // slot 1 of the connection
    LogCapture log;
    EXPECT_EQ(env.table()->getObject(1 | ENV_DESC_FLAG, BDBIndexType), static_cast<BDBObject*>(index));
    EXPECT_EQ(env.table()->getObject(1, BDBQuotaType), &quota);
    EXPECT_THAT(ownLines(log), IsEmpty());
    EXPECT_EQ(env.table()->getObject(1 | ENV_DESC_FLAG, BDBTxnType), nullptr);
    EXPECT_EQ(env.table()->getObject(2 | ENV_DESC_FLAG, BDBIndexType), nullptr);
    EXPECT_EQ(env.table()->getObject(0 | ENV_DESC_FLAG, BDBIndexType), nullptr);
    EXPECT_THAT(ownLines(log), ElementsAre("[ERROR] bdb # Object type mismatch (2 1) for descriptor 1",
                                           "[ERROR] bdb # Failed to get object for descriptor 2"));
}

TEST(GetObject, WithTheFlagAndNoEnvironmentFindsNothing)
{
    LogCapture log;
    BDBQuota quota;
    BDBObjTable table(8);
    ASSERT_EQ(table.addDesc(&quota), 1);
    EXPECT_EQ(table.getObject(1 | ENV_DESC_FLAG, BDBQuotaType), nullptr);
    EXPECT_THAT(ownLines(log), ElementsAre("[ERROR] bdb # Failed to get object for descriptor 16777217"));
}

} // namespace

#include "storage/bdbobjtable.h"

#include "loglines.h"
#include "storage/bdbcursor.h"
#include "storage/bdblocker.h"
#include "storage/bdbquota.h"
#include "storage/bdbseq.h"
#include "storage/bdbtxn.h"
#include "support/tempenv.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST(BDBObjectType, NumbersAreFixed)
{
    TempEnv env;
    EXPECT_EQ(BDBIndex(env.get(), DB_CXX_NO_EXCEPTIONS).type(), 1);
    EXPECT_EQ(BDBTxn().type(), 2);
    EXPECT_EQ(BDBCursor().type(), 3);
    EXPECT_EQ(BDBSeq().type(), 4);
    EXPECT_EQ(env->type(), 5);
    EXPECT_EQ(BDBQuota().type(), 6);
    EXPECT_EQ(BDBLocker(env.get()).type(), 7);
}

TEST(BDBObjTable, StartsEmpty)
{
    LogCapture log;
    BDBObjTable table(4);
    EXPECT_EQ(table.env(), nullptr);
    EXPECT_TRUE(table.names().isEmpty());
    EXPECT_TRUE(table.locks().isEmpty());
    for (int descriptor = 0; descriptor < 4; ++descriptor)
        EXPECT_EQ(table.getObject(descriptor, BDBQuotaType), nullptr);
}

TEST(AddDesc, FillsTheFirstFreeSlotFromOne)
{
    BDBQuota quota;
    BDBObjTable table(5);
    EXPECT_EQ(table.addDesc(&quota), 1);
    EXPECT_EQ(table.addDesc(&quota), 2);
    EXPECT_EQ(table.addDesc(&quota), 3);
    table.freeDesc(2);
    table.freeDesc(1);
    EXPECT_EQ(table.addDesc(&quota), 1);
    EXPECT_EQ(table.addDesc(&quota), 2);
    EXPECT_EQ(table.addDesc(&quota), 4);
    EXPECT_EQ(table.addDesc(&quota), -1);
}

TEST(AddDesc, LeavesSlotZeroFree)
{
    // The three sizes that the server makes: a connection's table, an environment's and the registry of environments.
    for (const int capacity : {256, 1024, 8192}) {
        BDBQuota quota;
        BDBObjTable table(capacity);
        for (int descriptor = 1; descriptor < capacity; ++descriptor)
            ASSERT_EQ(table.addDesc(&quota), descriptor);
        EXPECT_EQ(table.addDesc(&quota), -1) << capacity;
        EXPECT_EQ(table.getObject(0, BDBQuotaType), nullptr) << capacity;
        EXPECT_EQ(table.getObject(capacity - 1, BDBQuotaType), &quota) << capacity;
    }
}

TEST(AddDesc, TableWithoutUsableSlotsIsAlwaysFull)
{
    BDBQuota quota;
    EXPECT_EQ(BDBObjTable(0).addDesc(&quota), -1);
    EXPECT_EQ(BDBObjTable(1).addDesc(&quota), -1);
}

TEST(AddDesc, FullTableNamesItsDatabasesAndNothingElse)
{
    BDBQuota quota;
    TempEnv env(4);
    (void)env.index("orders", "meta");
    ASSERT_EQ(env->addDesc(&quota), 2);
    (void)env.index("orders_3f.db", "data");
    LogCapture log;
    EXPECT_EQ(env->addDesc(&quota), -1);
    EXPECT_THAT(ownLines(log), ElementsAre("[ERROR] bdb #  addDesc objType 1 fname orders dbname meta",
                                           "[ERROR] bdb #  addDesc objType 1 fname orders_3f.db dbname data"));
}

TEST(AddDesc, FullTableShowsADatabaseWithoutNamesAsBlank)
{
    TempEnv env(2);
    auto inMemory = std::make_unique<BDBIndex>(env.get(), DB_CXX_NO_EXCEPTIONS);
    ASSERT_EQ(inMemory->open(nullptr, nullptr, DB_BTREE, DB_CREATE), 0);
    ASSERT_EQ(env->addDesc(inMemory.release()), 1);
    LogCapture log;
    BDBQuota quota;
    EXPECT_EQ(env->addDesc(&quota), -1);
    EXPECT_THAT(ownLines(log), ElementsAre("[ERROR] bdb #  addDesc objType 1 fname  dbname "));
}

TEST(FreeDesc, EmptiesTheSlotAndLeavesTheObjectAlone)
{
    BDBQuota quota;
    BDBObjTable table(4);
    quota.set(5, 10);
    ASSERT_EQ(table.addDesc(&quota), 1);
    ASSERT_EQ(table.addDesc(&quota), 2);
    table.freeDesc(1);
    EXPECT_EQ(quota.used(), 5);
    LogCapture log;
    EXPECT_EQ(table.getObject(1, BDBQuotaType), nullptr);
    EXPECT_EQ(table.getObject(2, BDBQuotaType), &quota);
}

TEST(FreeDesc, WithTheFlagEmptiesTheEnvironmentsSlot)
{
    BDBQuota quota;
    TempEnv env(4);
    ASSERT_EQ(env->addDesc(&quota), 1);
    ASSERT_EQ(env.table()->addDesc(&quota), 1);
    env.table()->freeDesc(1 | ENV_DESC_FLAG);
    LogCapture log;
    EXPECT_EQ(env->getObject(1, BDBQuotaType), nullptr);
    EXPECT_EQ(env.table()->getObject(1, BDBQuotaType), &quota);
}

TEST(FreeDesc, IgnoresDescriptorsThatAreNotInUse)
{
    LogCapture log;
    BDBQuota quota;
    BDBObjTable table(4);
    ASSERT_EQ(table.addDesc(&quota), 1);
    for (const int descriptor : {0, 2, 4, 9999, -1, 1 | ENV_DESC_FLAG})
        table.freeDesc(descriptor);
    EXPECT_EQ(table.getObject(1, BDBQuotaType), &quota);
    EXPECT_THAT(ownLines(log), IsEmpty());
}

TEST(FreeDesc, TakesTheMutexAndClearSlotDoesNot)
{
    BDBQuota quota;
    BDBObjTable table(4);
    ASSERT_EQ(table.addDesc(&quota), 1);
    ASSERT_EQ(table.addDesc(&quota), 2);
    table.mutex().lock();
    table.clearSlot(1); // would deadlock if it locked the mutex again
    table.mutex().unlock();
    table.freeDesc(2);
    EXPECT_TRUE(table.mutex().tryLock()); // released
    table.mutex().unlock();
    EXPECT_EQ(table.addDesc(&quota), 1);
    EXPECT_EQ(table.addDesc(&quota), 2);
}

TEST(BDBObjTable, EnvironmentIsStoredAsGiven)
{
    TempEnv env;
    BDBObjTable table(4);
    table.setEnv(env.get());
    EXPECT_EQ(table.env(), env.get());
    table.setEnv(nullptr);
    EXPECT_EQ(table.env(), nullptr);
}

} // namespace

#include "storage/bdbobjtable.h"

#include "loglines.h"
#include "storage/bdbcursor.h"
#include "storage/bdblocker.h"
#include "storage/bdbquota.h"
#include "storage/bdbseq.h"
#include "storage/bdbtxn.h"
#include "support/tempenv.h"

#include <gmock/gmock.h>

#include <memory>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const int NotInUse = ENV_DESC_FLAG | 1;

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

TEST(GetObject, FindsAnObjectOfTheExpectedType)
{
    LogCapture log;
    BDBQuota quota;
    BDBObjTable table(8);
    const int descriptor = table.addDesc(&quota);
    EXPECT_EQ(table.getObject(descriptor, BDBQuotaType), &quota);
    EXPECT_THAT(ownLines(log), IsEmpty());
}

TEST(GetObject, TellsATypeThatDiffers)
{
    LogCapture log;
    BDBQuota quota;
    BDBObjTable table(8);
    const int descriptor = table.addDesc(&quota);
    EXPECT_EQ(table.getObject(descriptor, BDBEnvType), nullptr);
    EXPECT_THAT(ownLines(log), ElementsAre("[ERROR] bdb # Object type mismatch (5 6) for descriptor 1"));
}

TEST(GetObject, TellsAnEmptySlotAndADescriptorOutsideTheTable)
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
    EXPECT_EQ(table.getObject(NotInUse, BDBQuotaType), nullptr);
    EXPECT_THAT(ownLines(log), ElementsAre("[ERROR] bdb # Failed to get object for descriptor 16777217"));
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
    for (const int descriptor : {0, 2, 4, 9999, -1, NotInUse})
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
    table.clearSlot(1); // would stand still if it locked a second time
    table.mutex().unlock();
    table.freeDesc(2);
    EXPECT_TRUE(table.mutex().tryLock()); // given back
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

/** One object of each kind that a table destroys, all in use, in the slot order least fit for closing. */
class FilledTable {
public:
    explicit FilledTable(TempEnv& env)
    {
        auto index = std::make_unique<BDBIndex>(env.get(), DB_CXX_NO_EXCEPTIONS);
        EXPECT_EQ(index->open("orders", "data", DB_BTREE, DB_CREATE | DB_THREAD | DB_AUTO_COMMIT), 0);
        auto sequence = std::make_unique<BDBSeq>();
        Dbt sequenceKey(const_cast<char*>("sequence"), 8);
        EXPECT_EQ(sequence->open(index.get(), 0, 0, 100, 0, &sequenceKey, DB_CREATE | DB_THREAD), 0);
        auto txn = std::make_unique<BDBTxn>();
        EXPECT_EQ(txn->begin(env.get(), 0), 0);
        Dbt key(const_cast<char*>("key"), 3);
        Dbt data(const_cast<char*>("data"), 4);
        EXPECT_EQ(index->put(txn.get(), &key, &data, 0), 0);
        auto cursor = std::make_unique<BDBCursor>();
        EXPECT_EQ(cursor->open(index.get(), txn.get(), 0), 0);
        EXPECT_EQ(cursor->get(&key, &data, DB_FIRST), 0);
        auto locker = std::make_unique<BDBLocker>(env.get());
        EXPECT_EQ(locker->lock("name"), 0);

        EXPECT_EQ(table.addDesc(index.release()), 1);
        EXPECT_EQ(table.addDesc(sequence.release()), 2);
        EXPECT_EQ(table.addDesc(&quota), 3);
        EXPECT_EQ(table.addDesc(txn.release()), 4);
        EXPECT_EQ(table.addDesc(locker.release()), 5);
        EXPECT_EQ(table.addDesc(cursor.release()), 6);
    }

    BDBQuota quota;
    BDBObjTable table{16};
};

void expectAllClosed(TempEnv& env)
{
    EXPECT_TRUE(env->lockNames().isEmpty());
    DB_TXN_STAT* statistics = nullptr;
    ASSERT_EQ(env->txn_stat(&statistics, 0), 0);
    EXPECT_EQ(statistics->st_nactive, 0U);
    EXPECT_EQ(statistics->st_naborts, 1U); // the unfinished transaction
    std::free(statistics);
    Dbt key(const_cast<char*>("key"), 3);
    Dbt data;
    data.set_flags(DB_DBT_MALLOC); // the handles are opened for threads
    EXPECT_EQ(env.index("orders")->get(nullptr, &key, &data, 0), DB_NOTFOUND);
}

TEST(CloseObjects, ClosesCursorsAndLockersThenTransactionsThenSequencesThenDatabases)
{
    TempEnv env;
    FilledTable filled(env);
    LogCapture log;
    filled.table.closeObjects();
    EXPECT_THAT(ownLines(log), IsEmpty()); // Berkeley DB complains about any other order
    expectAllClosed(env);
    for (const int descriptor : {1, 2, 4, 5, 6})
        EXPECT_EQ(filled.table.getObject(descriptor, BDBQuotaType), nullptr);
    EXPECT_EQ(log.count("Failed to get object for descriptor "), 5U);
}

TEST(CloseObjects, LeavesObjectsOfOtherTypesAlone)
{
    TempEnv env;
    FilledTable filled(env);
    filled.quota.set(7, 9);
    ASSERT_EQ(filled.table.addDesc(env.get()), 7);
    filled.table.closeObjects();
    EXPECT_EQ(filled.table.getObject(3, BDBQuotaType), &filled.quota);
    EXPECT_EQ(filled.table.getObject(7, BDBEnvType), static_cast<BDBObject*>(env.get()));
    EXPECT_EQ(filled.quota.used(), 7);
    EXPECT_EQ(env->txn_checkpoint(0, 0, 0), 0); // the environment is open
}

TEST(BDBObjTable, DestructorClosesWhatTheTableHolds)
{
    TempEnv env;
    auto filled = std::make_unique<FilledTable>(env);
    LogCapture log;
    filled.reset();
    EXPECT_THAT(ownLines(log), IsEmpty());
    expectAllClosed(env);
}

} // namespace

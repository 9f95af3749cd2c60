// What a table closes, and in which order.
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

#include <cstdlib>
#include <memory>

namespace {

using testing::IsEmpty;

/** One object of each kind that a table destroys, all in use, in the worst order of slots for closing them. */
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

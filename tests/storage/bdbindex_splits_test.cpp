// Searches find every record, although many threads write and split pages at the same time.
#include "storage/bdbindex.h"

#include "rows.h"
#include "storage/bdbtxn.h"
#include "support/tempenv.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

namespace {

enum class Writers { One, WithLockingReads };

class BDBIndexPlaces : public testing::TestWithParam<Writers> {
protected:
    /** Writes one new record, and retries until it is committed. */
    void putNew(BDBEnv* env, BDBIndex* index, const std::string& name)
    {
        std::string value(60, 'x');
        for (int rc = DB_LOCK_DEADLOCK; rc == DB_LOCK_DEADLOCK;) {
            Dbt key(const_cast<char*>(name.data()), static_cast<u_int32_t>(name.size()));
            Dbt data(value.data(), static_cast<u_int32_t>(value.size()));
            BDBTxn txn;
            if (GetParam() == Writers::WithLockingReads) {
                ASSERT_EQ(txn.begin(env, 0), 0);
                Dbt nothing;
                nothing.set_flags(DB_DBT_USERMEM | DB_DBT_PARTIAL);
                rc = index->get(&txn, &key, &nothing, DB_RMW);
                rc = rc == DB_NOTFOUND ? index->put(&txn, &key, &data, 0) : rc;
            } else {
                ASSERT_EQ(txn.beginWriting(env, {&index, 1}), 0);
                rc = index->put(&txn, &key, &data, 0);
            }
            ASSERT_THAT(rc, testing::AnyOf(0, DB_LOCK_DEADLOCK));
            if (rc == 0) {
                ASSERT_EQ(txn.commit(DB_TXN_SYNC), 0);
            }
        }
    }
};

/**
 * New keys at the end of a tree, from many threads, in pages so small that leaves and their parents are split
 * continuously. With txn.begin() instead of beginWriting(), in a third of such rounds a key ends up where no search
 * finds it.
 */
TEST_P(BDBIndexPlaces, EveryNewKeyIsWhereASearchFindsIt)
{
    constexpr int Rounds = 20;
    constexpr int Threads = 16;
    constexpr int Keys = 40;
    const auto nameOf = [](int thread, int i) { return std::to_string(i) + '/' + std::to_string(thread); };
    for (int round = 0; round < Rounds; ++round) {
        TempEnv env;
        {
            BDBIndex index(env.get(), DB_CXX_NO_EXCEPTIONS);
            ASSERT_EQ(index.set_pagesize(512), 0);
            ASSERT_EQ(index.open("orders", "data", DB_BTREE, IndexOpenFlags), 0);
            std::vector<std::thread> writers;
            for (int thread = 0; thread < Threads; ++thread)
                writers.emplace_back([&, thread] {
                    for (int i = 0; i < Keys; ++i)
                        putNew(env.get(), &index, nameOf(thread, i));
                });
            for (std::thread& writer : writers)
                writer.join();
            for (int thread = 0; thread < Threads; ++thread) {
                for (int i = 0; i < Keys; ++i)
                    EXPECT_EQ(rowOf(&index, nullptr, nameOf(thread, i)), std::string(60, 'x')) << nameOf(thread, i);
            }
        }
        Db unopened(nullptr, DB_CXX_NO_EXCEPTIONS);
        env.close();
        EXPECT_EQ(unopened.verify(env.file("orders").c_str(), nullptr, nullptr, 0), 0);
        if (HasFailure())
            return;
    }
}

INSTANTIATE_TEST_SUITE_P(, BDBIndexPlaces, testing::Values(Writers::One, Writers::WithLockingReads),
                         [](const auto& tested) {
                             return tested.param == Writers::One ? "WithOneWriterAtATime" : "AfterALockingRead";
                         });

} // namespace

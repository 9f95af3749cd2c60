#include "storage/bdbindex.h"

#include "rows.h"
#include "storage/bdbtxn.h"
#include "support/logcapture.h"
#include "support/tempenv.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace {

class BDBIndexTest : public testing::Test {
protected:
    std::unique_ptr<BDBIndex> makeIndex() { return std::make_unique<BDBIndex>(env_.get(), DB_CXX_NO_EXCEPTIONS); }

    std::unique_ptr<BDBIndex> openedIndex(const char* file = "orders")
    {
        auto index = makeIndex();
        EXPECT_EQ(index->open(file, "data", DB_BTREE, IndexOpenFlags), 0);
        return index;
    }

    TempEnv env_;
};

TEST_F(BDBIndexTest, IsClosedUntilOpened)
{
    const auto index = makeIndex();
    EXPECT_EQ(index->isOpen(), 0);
    EXPECT_EQ(index->open("orders", "data", DB_BTREE, IndexOpenFlags), 0);
    EXPECT_EQ(index->isOpen(), 1);
}

TEST_F(BDBIndexTest, OpensTheNamedSubDatabaseOfTheFile)
{
    const auto index = openedIndex();
    const char* file = nullptr;
    const char* name = nullptr;
    DBTYPE type = DB_UNKNOWN;
    u_int32_t flags = 0;
    EXPECT_EQ(index->get_dbname(&file, &name), 0);
    EXPECT_EQ(index->get_type(&type), 0);
    EXPECT_EQ(index->get_open_flags(&flags), 0);
    EXPECT_STREQ(file, "orders");
    EXPECT_STREQ(name, "data");
    EXPECT_EQ(type, DB_BTREE);
    EXPECT_EQ(flags, IndexOpenFlags);
    EXPECT_TRUE(std::filesystem::exists(env_.file("orders")));
}

TEST_F(BDBIndexTest, FailedOpenLeavesItClosed)
{
    LogCapture log;
    auto index = makeIndex();
    EXPECT_EQ(index->open("missing", "data", DB_BTREE, DB_THREAD | DB_AUTO_COMMIT), ENOENT);
    EXPECT_EQ(index->isOpen(), 0);
    EXPECT_EQ(index->close(0), 12);
    index.reset();
    EXPECT_EQ(env_->txn_checkpoint(0, 0, 0), 0); // it left nothing behind
}

TEST_F(BDBIndexTest, CallsWithoutATransactionAreCommittedImmediately)
{
    BDBIndex* index = env_.index("orders");
    EXPECT_EQ(putRow(index, nullptr, "kept", "value"), 0);
    EXPECT_EQ(putRow(index, nullptr, "deleted", "value"), 0);
    EXPECT_EQ(rowOf(index, nullptr, "deleted"), "value");
    EXPECT_EQ(deleteRow(index, nullptr, "deleted"), 0);
    env_.reopen();
    EXPECT_EQ(rowOf(env_.index("orders"), nullptr, "kept"), "value");
    EXPECT_EQ(rowOf(env_.index("orders"), nullptr, "deleted"), NoRow);
}

TEST_F(BDBIndexTest, CallsInATransactionAreUndoneWithIt)
{
    const auto index = openedIndex();
    ASSERT_EQ(putRow(index.get(), nullptr, "old", "value"), 0);
    BDBTxn txn;
    ASSERT_EQ(txn.begin(env_.get(), 0), 0);
    EXPECT_EQ(putRow(index.get(), &txn, "new", "value"), 0);
    EXPECT_EQ(deleteRow(index.get(), &txn, "old"), 0);
    EXPECT_EQ(rowOf(index.get(), &txn, "new"), "value");
    EXPECT_EQ(rowOf(index.get(), &txn, "old"), NoRow);
    EXPECT_EQ(txn.abort(), 0);
    EXPECT_EQ(rowOf(index.get(), nullptr, "new"), NoRow);
    EXPECT_EQ(rowOf(index.get(), nullptr, "old"), "value");
}

TEST_F(BDBIndexTest, ATransactionThatNeverBeganCountsAsNone)
{
    const auto index = openedIndex();
    BDBTxn idle;
    EXPECT_EQ(putRow(index.get(), &idle, "key", "value"), 0);
    EXPECT_EQ(rowOf(index.get(), &idle, "key"), "value");
    EXPECT_EQ(deleteRow(index.get(), &idle, "key"), 0);
    EXPECT_EQ(rowOf(index.get(), nullptr, "key"), NoRow);
}

TEST_F(BDBIndexTest, FlagsAreHandedOn)
{
    const auto index = openedIndex();
    EXPECT_EQ(putRow(index.get(), nullptr, "key", "first", DB_NOOVERWRITE), 0);
    EXPECT_EQ(putRow(index.get(), nullptr, "key", "second", DB_NOOVERWRITE), DB_KEYEXIST);
    EXPECT_EQ(rowOf(index.get(), nullptr, "key"), "first");
    EXPECT_EQ(rowOf(index.get(), nullptr, "key", DB_CONSUME), "(result " + std::to_string(EINVAL) + ')');
    EXPECT_EQ(deleteRow(index.get(), nullptr, "key", DB_NOOVERWRITE), EINVAL);
}

TEST_F(BDBIndexTest, ResultsAreThoseOfTheLibrary)
{
    const auto index = openedIndex();
    EXPECT_EQ(deleteRow(index.get(), nullptr, "missing"), DB_NOTFOUND);
    ASSERT_EQ(putRow(index.get(), nullptr, "key", "a long value"), 0);
    std::string key = "key";
    Dbt keyBytes = dbtOf(key);
    char room[4];
    Dbt value;
    value.set_flags(DB_DBT_USERMEM);
    value.set_data(room);
    value.set_ulen(sizeof room);
    EXPECT_EQ(index->get(nullptr, &keyBytes, &value, 0), DB_BUFFER_SMALL); // no exception is thrown
    EXPECT_EQ(value.get_size(), 12U);
}

TEST_F(BDBIndexTest, SecondCloseDoesNotReachTheLibrary)
{
    const auto index = openedIndex();
    EXPECT_EQ(index->close(0), 0);
    EXPECT_EQ(index->isOpen(), 0);
    EXPECT_EQ(index->close(0), 12); // the library would write through a handle that it freed
    EXPECT_EQ(index->close(0), 12);
}

TEST_F(BDBIndexTest, CloseOfOneThatNeverOpenedIs12)
{
    EXPECT_EQ(makeIndex()->close(0), 12);
}

TEST_F(BDBIndexTest, CloseHandsTheFlagsOn)
{
    LogCapture log;
    const auto index = openedIndex();
    EXPECT_EQ(index->close(0x40000000), EINVAL);
    EXPECT_EQ(index->isOpen(), 0);
}

TEST_F(BDBIndexTest, DestructorClosesTheHandle)
{
    openedIndex().reset();
    EXPECT_EQ(env_->dbremove(nullptr, "orders", nullptr, DB_AUTO_COMMIT), 0); // waits for no handle lock
    EXPECT_FALSE(std::filesystem::exists(env_.file("orders")));
}

TEST_F(BDBIndexTest, IsSharedByThreads)
{
    constexpr int Threads = 4;
    constexpr int Rows = 50;
    const auto index = openedIndex();
    std::vector<std::thread> threads;
    for (int t = 0; t < Threads; ++t)
        threads.emplace_back([&index, t] {
            for (int i = 0; i < Rows; ++i) {
                const std::string key = std::to_string(t) + '-' + std::to_string(i);
                int rc = 0;
                while ((rc = putRow(index.get(), nullptr, key, key)) == DB_LOCK_DEADLOCK)
                    ;
                EXPECT_EQ(rc, 0);
            }
        });
    for (std::thread& thread : threads)
        thread.join();
    for (int t = 0; t < Threads; ++t)
        for (int i = 0; i < Rows; ++i) {
            const std::string key = std::to_string(t) + '-' + std::to_string(i);
            EXPECT_EQ(rowOf(index.get(), nullptr, key), key);
        }
}

} // namespace

#include "storage/bdbcursor.h"

#include "loglines.h"
#include "rows.h"
#include "storage/bdbtxn.h"
#include "support/tempenv.h"

#include <gmock/gmock.h>

namespace {

class BDBCursorTest : public testing::Test {
protected:
    void SetUp() override
    {
        for (const char* key : {"a", "b", "c"})
            ASSERT_EQ(putRow(index_, nullptr, key, std::string("value of ") + key), 0);
    }

    /** "key=value" after one step, or "(result N)". */
    static std::string step(BDBCursor& cursor, u_int32_t flags)
    {
        char keyRoom[32];
        char valueRoom[32];
        Dbt key(keyRoom, 0);
        Dbt value(valueRoom, 0);
        for (Dbt* dbt : {&key, &value}) {
            dbt->set_flags(DB_DBT_USERMEM);
            dbt->set_ulen(sizeof keyRoom);
        }
        if (const int rc = cursor.get(&key, &value, flags))
            return "(result " + std::to_string(rc) + ')';
        return std::string(keyRoom, key.get_size()) + '=' + std::string(valueRoom, value.get_size());
    }

    TempEnv env_;
    BDBIndex* const index_ = env_.index("orders");
};

TEST_F(BDBCursorTest, WalksTheRowsInKeyOrder)
{
    BDBCursor cursor;
    EXPECT_EQ(cursor.open(index_, nullptr, 0), 0);
    EXPECT_EQ(step(cursor, DB_FIRST), "a=value of a");
    EXPECT_EQ(step(cursor, DB_NEXT), "b=value of b");
    EXPECT_EQ(step(cursor, DB_LAST), "c=value of c");
    EXPECT_EQ(step(cursor, DB_NEXT), NoRow);
    EXPECT_EQ(cursor.close(), 0);
}

TEST_F(BDBCursorTest, SeesTheWritesOfItsTransaction)
{
    BDBTxn txn;
    ASSERT_EQ(txn.begin(env_.get(), 0), 0);
    ASSERT_EQ(putRow(index_, &txn, "d", "unfinished"), 0);
    BDBCursor cursor;
    EXPECT_EQ(cursor.open(index_, &txn, 0), 0);
    EXPECT_EQ(step(cursor, DB_LAST), "d=unfinished");
    EXPECT_EQ(cursor.close(), 0);
    EXPECT_EQ(txn.abort(), 0);
}

TEST_F(BDBCursorTest, FailedOpenLeavesItClosed)
{
    LogCapture log;
    BDBCursor cursor;
    EXPECT_EQ(cursor.open(index_, nullptr, 0x40000000), EINVAL);
    EXPECT_EQ(step(cursor, DB_FIRST), "(result 12)");
    EXPECT_EQ(cursor.close(), 12);
}

TEST_F(BDBCursorTest, CloseOfOneThatNeverOpenedIs12)
{
    LogCapture log;
    BDBCursor cursor;
    EXPECT_EQ(cursor.close(), 12);
    EXPECT_EQ(step(cursor, DB_FIRST), "(result 12)");
    EXPECT_THAT(ownLines(log), testing::IsEmpty());
}

TEST_F(BDBCursorTest, SecondCloseIs12)
{
    BDBCursor cursor;
    ASSERT_EQ(cursor.open(index_, nullptr, 0), 0);
    EXPECT_EQ(cursor.close(), 0);
    EXPECT_EQ(cursor.close(), 12);
}

TEST_F(BDBCursorTest, OpensAgainAfterClose)
{
    BDBCursor cursor;
    ASSERT_EQ(cursor.open(index_, nullptr, 0), 0);
    ASSERT_EQ(cursor.close(), 0);
    ASSERT_EQ(cursor.open(index_, nullptr, 0), 0);
    EXPECT_EQ(step(cursor, DB_FIRST), "a=value of a");
}

TEST_F(BDBCursorTest, DestructorClosesIt)
{
    const auto rowIsFree = [&] {
        BDBTxn txn;
        return txn.begin(env_.get(), DB_TXN_NOWAIT) == 0 && putRow(index_, &txn, "a", "new") == 0;
    };
    {
        BDBCursor cursor;
        ASSERT_EQ(cursor.open(index_, nullptr, 0), 0);
        ASSERT_EQ(step(cursor, DB_FIRST), "a=value of a");
        EXPECT_FALSE(rowIsFree()); // an open cursor keeps its current row locked
    }
    EXPECT_TRUE(rowIsFree());
}

} // namespace

#include "recordopsfixture.h"

namespace {

class PutDbInTransaction : public PutDb {
protected:
    int putIn(BDBTxn* txn, const QByteArray& key, const QByteArray& expected = QByteArray(), bool returnOld = false)
    {
        const QVariantMap conditions = expected.isNull() ? QVariantMap() : json(expected);
        return writeItem(db_, key, &item_, expected.isNull() ? nullptr : &conditions, returnOld, txn);
    }
};

TEST_F(PutDbInTransaction, LeavesTheEndToTheCaller)
{
    store(oldText_);
    BDBTxn txn;
    ASSERT_EQ(txn.begin(env(), 0), 0);
    EXPECT_EQ(putIn(&txn, key_), 0);
    EXPECT_EQ(putIn(&txn, "other"), 0);
    EXPECT_NE(BDBTxn::handleOf(&txn), nullptr);
    EXPECT_EQ(txn.abort(), 0);
    EXPECT_EQ(rawRecords(db_), (RawRecords{{"0004hashrange", oldText_}}));

    ASSERT_EQ(txn.begin(env(), 0), 0);
    EXPECT_EQ(putIn(&txn, key_), 0);
    EXPECT_EQ(putIn(&txn, "other"), 0);
    EXPECT_EQ(txn.finish(0), 0);
    EXPECT_EQ(rawRecords(db_), (RawRecords{{"0004hashrange", newText_}, {"other", newText_}}));
}

TEST_F(PutDbInTransaction, SeesWhatTheTransactionWrote)
{
    BDBTxn txn;
    ASSERT_EQ(txn.begin(env(), 0), 0);
    EXPECT_EQ(putIn(&txn, key_), 0);
    item_ = json(oldText_);
    EXPECT_EQ(putIn(&txn, key_, R"({"a":{"Value":{"S":"new"}}})", true), 0);
    EXPECT_EQ(item_, json(newText_));
    EXPECT_EQ(txn.finish(0), 0);
    EXPECT_EQ(stored(), oldText_);
}

TEST_F(PutDbInTransaction, AFailureLeavesTheTransactionUsable)
{
    store("no JSON");
    rawPut(db_, "other", oldText_);
    BDBTxn txn;
    ASSERT_EQ(txn.begin(env(), 0), 0);
    EXPECT_EQ(putIn(&txn, "first"), 0);
    EXPECT_EQ(putIn(&txn, key_, "{}"), StatusInternalError);
    EXPECT_EQ(putIn(&txn, "other", R"({"a":{"Exists":false}})"), StatusConditionFailed);
    EXPECT_EQ(putIn(&txn, "second"), 0);
    EXPECT_NE(BDBTxn::handleOf(&txn), nullptr);
    EXPECT_EQ(txn.finish(0), 0);
    EXPECT_EQ(
        rawRecords(db_),
        (RawRecords{{"0004hashrange", "no JSON"}, {"first", newText_}, {"other", oldText_}, {"second", newText_}}));
}

} // namespace

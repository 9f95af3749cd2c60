#include "recordopsfixture.h"

namespace {

class PutDb : public RecordOps {
protected:
    /** Writes `item_` in a transaction of its own. */
    int put(const QByteArray& expected = QByteArray(), bool returnOld = false)
    {
        const QVariantMap conditions = expected.isNull() ? QVariantMap() : json(expected);
        return writeItem(env(), db_, key_, &item_, expected.isNull() ? nullptr : &conditions, returnOld);
    }

    QVariantMap item_ = json(R"({"a":{"S":"new"}})");
    const QVariantMap before_ = item_;
    const QByteArray newText_ = R"({"a":{"S":"new"}})";
    const QByteArray oldText_ = R"({"a":{"S":"old"},"b":{"N":"1"}})";
};

TEST_F(PutDb, StoresTheItemAsJsonTextUnderTheKey)
{
    const QByteArray text = R"({"b":{"B":"AAEC"},"bs":{"BS":["AA","BB"]},"n":{"N":"1.50"},"ns":{"NS":["1","2"]},)"
                            "\"s\":{\"S\":\"caf\xc3\xa9 \xe2\x82\xac\"},\"ss\":{\"SS\":[\"p\",\"q\"]}}";
    item_ = json(text);
    const LogCapture log;
    EXPECT_EQ(put(), 0);
    EXPECT_EQ(rawRecords(db_), (RawRecords{{"0004hashrange", text}}));
    EXPECT_EQ(item_, json(text));
    EXPECT_EQ(recordLines(log), Lines());
}

TEST_F(PutDb, TheBytesAreOnDisk)
{
    ASSERT_EQ(put(), 0);
    const QByteArray otherKey = Records::recordKey(QByteArray("h\0", 2), "\xff");
    ASSERT_EQ(writeItem(env(), db_, otherKey, &item_, nullptr, false), 0);
    tables_.close();
    EXPECT_EQ(recordsOnDisk(tables_.directory().file("items.db"), "data"),
              (RawRecords{{"0004hashrange", newText_}, {QByteArray("0002h\0\xff", 7), newText_}}));
    tables_.reopen();
}

TEST_F(PutDb, IsCommittedWhenItReturns)
{
    ASSERT_EQ(put(), 0);
    tables_.reopen();
    db_ = tables_.index();
    EXPECT_EQ(stored(), newText_);
}

TEST_F(PutDb, AnItemWithoutAttributesIsAnEmptyObject)
{
    item_.clear();
    EXPECT_EQ(put(), 0);
    EXPECT_EQ(stored(), "{}");
}

TEST_F(PutDb, TerminatedBytesAreStoredWithoutTheirZeroByte)
{
    item_ = {{"a", QVariantMap{{"S", QByteArray("x\xe9\0", 3)}}}};
    EXPECT_EQ(put(), 0);
    EXPECT_EQ(stored(), "{\"a\":{\"S\":\"x\xc3\xa9\"}}");
}

TEST_F(PutDb, OverwritesWhatIsThere)
{
    store(oldText_);
    EXPECT_EQ(put(), 0);
    EXPECT_EQ(rawRecords(db_), (RawRecords{{"0004hashrange", newText_}}));
    EXPECT_EQ(item_, before_);
}

TEST_F(PutDb, WithoutConditionOrOldItemReadsNothing)
{
    // Neither a value that cannot be parsed nor one that is too long to be read is in the way.
    for (const QByteArray& text : {QByteArray("no JSON"), textOfSize(0x80001)}) {
        store(text);
        const LogCapture log;
        EXPECT_EQ(put(), 0);
        EXPECT_EQ(stored(), newText_);
        EXPECT_EQ(recordLines(log), Lines());
    }
}

TEST_F(PutDb, StoresValuesThatAreTooLongToBeRead)
{
    const QByteArray text = textOfSize(1000000);
    item_ = json(text);
    EXPECT_EQ(put(), 0);
    EXPECT_TRUE(stored() == text);
}

TEST_F(PutDb, ReturnsTheOldItem)
{
    store(oldText_);
    const LogCapture log;
    EXPECT_EQ(put(QByteArray(), true), 0);
    EXPECT_EQ(item_, json(oldText_));
    EXPECT_EQ(stored(), newText_);
    EXPECT_EQ(recordLines(log), Lines());
}

TEST_F(PutDb, TheOldItemOfAMissingRecordIsEmpty)
{
    EXPECT_EQ(put(QByteArray(), true), 0);
    EXPECT_EQ(item_, QVariantMap());
    EXPECT_EQ(stored(), newText_);
}

TEST_F(PutDb, ReadsOldItemsOfUpTo512KiB)
{
    for (const qsizetype size : {4096, 4097, 5000, 0x80000}) {
        const QByteArray text = textOfSize(size);
        store(text);
        item_ = before_;
        EXPECT_EQ(put(QByteArray(), true), 0) << size;
        EXPECT_TRUE(item_ == json(text)) << size;
        EXPECT_EQ(stored(), newText_) << size;
    }
}

TEST_F(PutDb, WritesWhenTheConditionsHold)
{
    store(oldText_);
    EXPECT_EQ(put(R"({"a":{"Value":{"S":"old"}},"c":{"Exists":false}})"), 0);
    EXPECT_EQ(stored(), newText_);
    EXPECT_EQ(item_, before_); // the old item was not asked for
    item_ = json(oldText_);
    EXPECT_EQ(put(R"({"a":{"Value":{"S":"new"}}})", true), 0);
    EXPECT_EQ(stored(), oldText_);
    EXPECT_EQ(item_, json(newText_));
}

TEST_F(PutDb, ConditionsOnAMissingRecordSeeAnEmptyItem)
{
    EXPECT_EQ(put(R"({"a":{"Value":{"S":"old"}}})"), StatusConditionFailed);
    EXPECT_EQ(stored(), std::nullopt);
    EXPECT_EQ(put(R"({"a":{"Exists":true}})"), 0);
    EXPECT_EQ(stored(), newText_);
    rawPut(db_, "other", "{}");
    EXPECT_EQ(put(R"({"a":{"Exists":false}})"), StatusConditionFailed);
}

TEST_F(PutDb, AFailedConditionWritesNothing)
{
    store(oldText_);
    const RefusedWrites refused(env(), db_); // every attempt to write would be seen
    for (const bool returnOld : {false, true}) {
        const LogCapture log;
        const std::size_t before = aborts();
        EXPECT_EQ(put(R"({"a":{"Exists":false}})", returnOld), StatusConditionFailed);
        EXPECT_EQ(aborts(), before + 1);
        EXPECT_EQ(rawRecords(db_), (RawRecords{{"0004hashrange", oldText_}}));
        EXPECT_EQ(item_, before_);
        EXPECT_EQ(recordLines(log), Lines());
        EXPECT_EQ(activeTransactions(), 0u);
    }
}

TEST_F(PutDb, AMalformedConditionWritesNothing)
{
    store(oldText_);
    const LogCapture log;
    EXPECT_EQ(put(R"({"a":{}})"), StatusInternalError);
    EXPECT_EQ(stored(), oldText_);
    EXPECT_EQ(item_, before_);
    EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # attr missing"}));
}

TEST_F(PutDb, StoredTextThatIsNoJsonFailsOnceItIsRead)
{
    for (const QByteArray& text : {QByteArray("no JSON"), QByteArray(), QByteArray("{} x")}) {
        store(text);
        for (const auto& [expected, returnOld] :
             {std::pair(QByteArray("{}"), false), std::pair(QByteArray(), true), std::pair(QByteArray("{}"), true)}) {
            const LogCapture log;
            EXPECT_EQ(put(expected, returnOld), StatusInternalError);
            EXPECT_EQ(stored(), text);
            EXPECT_EQ(item_, before_);
            EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # parser failed"}));
            EXPECT_EQ(activeTransactions(), 0u);
        }
    }
}

TEST_F(PutDb, AValueTooLongToBeReadFailsWithTheSizesInALine)
{
    const QByteArray text = textOfSize(0x80001);
    store(text);
    const LogCapture log;
    EXPECT_EQ(put(QByteArray(), true), DB_BUFFER_SMALL);
    EXPECT_TRUE(stored() == text);
    EXPECT_EQ(item_, before_);
    EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # putDb get failed for " + keyText_ +
                                       " key ulen 4096 size 13 data ulen 524288 size 524289"}));
}

TEST_F(PutDb, TheLineOfAFailedReadShowsTheBufferOfALongKey)
{
    const QByteArray key = Records::recordKey(QByteArray(5000, 'h'), "r");
    rawPut(db_, key, textOfSize(600000));
    const LogCapture log;
    EXPECT_EQ(writeItem(env(), db_, key, &item_, nullptr, true), DB_BUFFER_SMALL);
    EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # putDb get failed for " + key.toStdString() +
                                       " key ulen 5009 size 5005 data ulen 524288 size 600000"}));
}

TEST_F(PutDb, OtherReadErrorsAreHandedOnWithALine)
{
    TableEnv foreign; // a transaction of one environment is of no use in another
    store(oldText_);
    const LogCapture log;
    EXPECT_EQ(writeItem(foreign.env(), db_, key_, &item_, nullptr, true), EINVAL);
    EXPECT_EQ(ownLines(log), (Lines{"[ERROR] bdbrequest # putDb get failed for " + keyText_ +
                                    " key ulen 4096 size 13 data ulen 4096 size 0"}));
    EXPECT_EQ(stored(), oldText_);
}

TEST_F(PutDb, AFailedWriteIsHandedOnWithALine)
{
    store(oldText_);
    const RefusedWrites refused(env(), db_);
    for (const bool returnOld : {false, true}) {
        const LogCapture log;
        EXPECT_EQ(put(QByteArray(), returnOld), EACCES);
        EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # put failed for fkey " + keyText_ + " rc 13"}));
        EXPECT_EQ(stored(), oldText_);
        EXPECT_EQ(item_, before_);
        EXPECT_EQ(activeTransactions(), 0u);
    }
}

TEST_F(PutDb, ATransactionThatCannotBeginIsHandedOn)
{
    ASSERT_NO_FATAL_FAILURE(settle());
    store(oldText_);
    const LogCapture log;
    {
        const Panic panic(env());
        EXPECT_EQ(put(), DB_RUNRECOVERY);
    }
    EXPECT_EQ(ownLines(log), (Lines{"[ERROR] bdb # txn init failed rc -30973"}));
    EXPECT_EQ(stored(), oldText_);
}

TEST_F(PutDb, CommitsWithTheServersFlags)
{
    ASSERT_NO_FATAL_FAILURE(settle());
    {
        const CommitFlags flags(DB_TXN_NOSYNC);
        const std::size_t writes = logWrites();
        EXPECT_EQ(put(), 0);
        EXPECT_EQ(logWrites(), writes);
    }
    const CommitFlags flags(DB_TXN_SYNC);
    const std::size_t writes = logWrites();
    EXPECT_EQ(put(), 0);
    EXPECT_GT(logWrites(), writes);
}

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

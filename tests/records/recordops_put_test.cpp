#include "recordopsfixture.h"

namespace {

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
    // Neither a value that cannot be parsed nor one that is too long to be read prevents it.
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
    EXPECT_EQ(item_, before_); // the old item was not requested
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
    const RefusedWrites refused(env(), db_); // any attempt to write would fail
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

} // namespace

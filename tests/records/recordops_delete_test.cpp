#include "recordopsfixture.h"

#include <functional>

namespace {

TEST_F(DeleteDb, RemovesTheRecordOfTheKeyAlone)
{
    store(text_);
    rawPut(db_, key_ + "x", "{}");
    rawPut(db_, key_.chopped(1), "{}");
    const LogCapture log;
    EXPECT_EQ(del(), 0);
    EXPECT_EQ(rawRecords(db_), (RawRecords{{"0004hashrang", "{}"}, {"0004hashrangex", "{}"}}));
    EXPECT_EQ(recordLines(log), Lines());
}

TEST_F(DeleteDb, IsCommittedWhenItReturns)
{
    store(text_);
    ASSERT_EQ(del(), 0);
    tables_.close();
    EXPECT_EQ(recordsOnDisk(tables_.directory().file("items.db"), "data"), RawRecords());
    tables_.reopen();
}

TEST_F(DeleteDb, AMissingRecordCountsAsDeleted)
{
    const LogCapture log;
    EXPECT_EQ(del(), 0);
    EXPECT_EQ(del(QByteArray(), true), 0);
    EXPECT_EQ(old_, before_);
    EXPECT_EQ(recordLines(log), Lines());
}

TEST_F(DeleteDb, AMissingRecordThatWasLookedUpIsNotDeletedAgain)
{
    // A delete requests more locks than the read does, even if there is nothing to delete.
    ASSERT_NO_FATAL_FAILURE(settle());
    rawPut(db_, "other", "{}");
    const auto requestsOf = [&](const std::function<int()>& operation, int expectedResult) {
        const std::size_t before = lockRequests();
        EXPECT_EQ(operation(), expectedResult);
        return lockRequests() - before;
    };
    const std::size_t read = requestsOf(
        [&] {
            BDBTxn txn;
            EXPECT_EQ(txn.begin(env(), 0), 0);
            Dbt key = dbtOf(key_);
            Dbt data;
            data.set_flags(DB_DBT_MALLOC);
            return db_->get(&txn, &key, &data, DB_RMW);
        },
        DB_NOTFOUND);
    EXPECT_EQ(requestsOf([&] { return del(QByteArray(), true); }, 0), read);
    EXPECT_GT(requestsOf([&] { return del(R"({"a":{"Exists":false}})", true); }, 0), read);
}

TEST_F(DeleteDb, WithoutConditionOrOldItemReadsNothing)
{
    for (const QByteArray& text : {QByteArray("no JSON"), textOfSize(0x80001)}) {
        store(text);
        const LogCapture log;
        EXPECT_EQ(del(), 0);
        EXPECT_EQ(stored(), std::nullopt);
        EXPECT_EQ(recordLines(log), Lines());
    }
}

TEST_F(DeleteDb, ReturnsTheOldItem)
{
    store(text_);
    const LogCapture log;
    EXPECT_EQ(del(QByteArray(), true), 0);
    EXPECT_EQ(old_, json(text_));
    EXPECT_EQ(stored(), std::nullopt);
    EXPECT_EQ(recordLines(log), Lines());
}

TEST_F(DeleteDb, ReadsOldItemsOfUpTo512KiB)
{
    for (const qsizetype size : {4096, 4097, 5000, 0x80000}) {
        const QByteArray text = textOfSize(size);
        store(text);
        EXPECT_EQ(del(QByteArray(), true), 0) << size;
        EXPECT_TRUE(old_ == json(text)) << size;
        EXPECT_EQ(stored(), std::nullopt) << size;
    }
}

TEST_F(DeleteDb, DeletesWhenTheConditionsHold)
{
    store(text_);
    EXPECT_EQ(del(R"({"a":{"Value":{"S":"x"}},"c":{"Exists":false}})"), 0);
    EXPECT_EQ(stored(), std::nullopt);
    EXPECT_EQ(old_, before_);

    store(text_);
    EXPECT_EQ(del(R"({"b":{"Value":{"N":"01"}}})", true), 0);
    EXPECT_EQ(stored(), std::nullopt);
    EXPECT_EQ(old_, json(text_));
}

TEST_F(DeleteDb, ConditionsOnAMissingRecordSeeAnEmptyItem)
{
    const LogCapture log;
    EXPECT_EQ(del(R"({"a":{"Value":{"S":"x"}}})", true), StatusConditionFailed);
    EXPECT_EQ(old_, before_);
    EXPECT_EQ(del(R"({"a":{"Exists":false}})", true), 0);
    EXPECT_EQ(old_, QVariantMap());
    EXPECT_EQ(del(R"({"a":{"Exists":false}})"), 0);
    EXPECT_EQ(del("{}"), 0);
    EXPECT_EQ(recordLines(log), Lines());
}

TEST_F(DeleteDb, AFailedConditionDeletesNothing)
{
    store(text_);
    for (const bool returnOld : {false, true}) {
        const LogCapture log;
        const std::size_t before = aborts();
        EXPECT_EQ(del(R"({"a":{"Exists":false}})", returnOld), StatusConditionFailed);
        EXPECT_EQ(aborts(), before + 1);
        EXPECT_EQ(stored(), text_);
        EXPECT_EQ(old_, before_);
        EXPECT_EQ(recordLines(log), Lines());
        EXPECT_EQ(activeTransactions(), 0u);
    }
}

TEST_F(DeleteDb, CommitsWithTheServersFlags)
{
    ASSERT_NO_FATAL_FAILURE(settle());
    store(text_);
    {
        const CommitFlags flags(DB_TXN_NOSYNC);
        const std::size_t writes = logWrites();
        EXPECT_EQ(del(), 0);
        EXPECT_EQ(logWrites(), writes);
    }
    store(text_);
    const CommitFlags flags(DB_TXN_SYNC);
    const std::size_t writes = logWrites();
    EXPECT_EQ(del(), 0);
    EXPECT_GT(logWrites(), writes);
}

TEST_F(DeleteDb, InACallersTransactionLeavesTheEndToTheCaller)
{
    store(text_);
    rawPut(db_, "other", text_);
    BDBTxn txn;
    ASSERT_EQ(txn.begin(env(), 0), 0);
    EXPECT_EQ(Records::deleteDb(db_, key_, nullptr, nullptr, &txn), 0);
    EXPECT_EQ(Records::deleteDb(db_, "other", nullptr, &old_, &txn), 0);
    EXPECT_EQ(old_, json(text_));
    EXPECT_NE(BDBTxn::handleOf(&txn), nullptr);
    EXPECT_EQ(txn.abort(), 0);
    EXPECT_EQ(rawRecords(db_).size(), 2u);

    const QVariantMap fails = json(R"({"a":{"Exists":false}})");
    ASSERT_EQ(txn.begin(env(), 0), 0);
    EXPECT_EQ(Records::deleteDb(db_, key_, nullptr, nullptr, &txn), 0);
    EXPECT_EQ(Records::deleteDb(db_, "other", &fails, nullptr, &txn), StatusConditionFailed);
    EXPECT_NE(BDBTxn::handleOf(&txn), nullptr);
    EXPECT_EQ(txn.finish(0), 0);
    EXPECT_EQ(rawRecords(db_), (RawRecords{{"other", text_}}));
}

} // namespace

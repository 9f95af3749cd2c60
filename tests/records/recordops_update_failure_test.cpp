#include "recordopsfixture.h"

namespace {

TEST_F(UpdateDb, AMalformedConditionWritesNothing)
{
    store(text_);
    const LogCapture log;
    EXPECT_EQ(update(putA_, "ALL_OLD", R"({"a":{}})"), StatusInternalError);
    EXPECT_EQ(stored(), text_);
    EXPECT_EQ(result_, before_);
    EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # attr missing"}));
}

TEST_F(UpdateDb, AFailedAddWritesNothing)
{
    store(text_);
    const LogCapture log;
    EXPECT_EQ(update(R"({"a":{"Action":"PUT","Value":{"S":"y"}},"n":{"Action":"ADD","Value":{"S":"2"}}})", "ALL_OLD"),
              StatusNotFound);
    EXPECT_EQ(stored(), text_);
    EXPECT_EQ(result_, before_);
    EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # attr missing"}));
}

TEST_F(UpdateDb, StoredTextThatIsNoJsonFails)
{
    for (const QByteArray& text : {QByteArray("no JSON"), QByteArray(), QByteArray("{} x")}) {
        store(text);
        const LogCapture log;
        EXPECT_EQ(update(putA_, "ALL_OLD"), StatusInternalError);
        EXPECT_EQ(stored(), text);
        EXPECT_EQ(result_, before_);
        EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # parser failed"}));
        EXPECT_EQ(activeTransactions(), 0u);
    }
}

TEST_F(UpdateDb, AValueTooLongToBeReadFailsWithTheSizesInALine)
{
    const QByteArray text = textOfSize(0x80001);
    store(text);
    const LogCapture log;
    EXPECT_EQ(update(putA_, "ALL_OLD"), DB_BUFFER_SMALL);
    EXPECT_TRUE(stored() == text);
    EXPECT_EQ(result_, before_);
    EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # updateDb get failed for " + keyText_ +
                                       " key ulen 4096 key size 13 data ulen 524288 data size 524289"}));
}

TEST_F(UpdateDb, OtherReadErrorsAreHandedOnWithALine)
{
    TableEnv foreign; // a transaction cannot be used in another environment
    store(text_);
    const LogCapture log;
    EXPECT_EQ(Records::updateDb(foreign.env(), db_, key_, json(putA_), nullptr, nullptr, &result_), EINVAL);
    EXPECT_EQ(ownLines(log), (Lines{"[ERROR] bdbrequest # updateDb get failed for " + keyText_ +
                                    " key ulen 4096 key size 13 data ulen 4096 data size 0"}));
    EXPECT_EQ(stored(), text_);
}

TEST_F(UpdateDb, AFailedWriteIsHandedOnWithALine)
{
    store(text_);
    const RefusedWrites refused(env(), db_);
    const LogCapture log;
    EXPECT_EQ(update(putA_, "ALL_OLD"), EACCES);
    EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # db put failed for " + keyText_ + " rc 13"}));
    EXPECT_EQ(stored(), text_);
    EXPECT_EQ(result_, before_);
}

TEST_F(UpdateDb, ATransactionThatCannotBeginIsHandedOn)
{
    ASSERT_NO_FATAL_FAILURE(settle());
    store(text_);
    const LogCapture log;
    {
        const Panic panic(env());
        EXPECT_EQ(update(putA_, "ALL_OLD"), DB_RUNRECOVERY);
    }
    EXPECT_EQ(ownLines(log), (Lines{"[ERROR] bdb # txn init failed rc -30973"}));
    EXPECT_EQ(stored(), text_);
    EXPECT_EQ(result_, before_);
}

} // namespace

#include "recordopsfixture.h"

namespace {

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
    TableEnv foreign; // a transaction cannot be used in another environment
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

} // namespace

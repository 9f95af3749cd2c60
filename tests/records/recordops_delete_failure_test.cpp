#include "recordopsfixture.h"

namespace {

TEST_F(DeleteDb, AMalformedConditionDeletesNothing)
{
    store(text_);
    const LogCapture log;
    EXPECT_EQ(del(R"({"a":{}})", true), StatusInternalError);
    EXPECT_EQ(stored(), text_);
    EXPECT_EQ(old_, before_);
    EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # attr missing"}));
}

TEST_F(DeleteDb, StoredTextThatIsNoJsonFailsOnceItIsRead)
{
    for (const QByteArray& text : {QByteArray("no JSON"), QByteArray(), QByteArray("{} x")}) {
        store(text);
        for (const auto& [expected, returnOld] :
             {std::pair(QByteArray("{}"), false), std::pair(QByteArray(), true), std::pair(QByteArray("{}"), true)}) {
            const LogCapture log;
            EXPECT_EQ(del(expected, returnOld), StatusInternalError);
            EXPECT_EQ(stored(), text);
            EXPECT_EQ(old_, before_);
            EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # parser failed"}));
            EXPECT_EQ(activeTransactions(), 0u);
        }
    }
}

TEST_F(DeleteDb, AValueTooLongToBeReadFailsWithTheSizesInALine)
{
    const QByteArray text = textOfSize(0x80001);
    store(text);
    const LogCapture log;
    EXPECT_EQ(del(QByteArray(), true), DB_BUFFER_SMALL);
    EXPECT_TRUE(stored() == text);
    EXPECT_EQ(old_, before_);
    EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # deleteDb get failed for " + keyText_ +
                                       " key ulen 4096 size 13 data ulen 524288 size 524289"}));
}

TEST_F(DeleteDb, OtherReadErrorsAreHandedOnWithALine)
{
    TableEnv foreign; // a transaction cannot be used in another environment
    store(text_);
    const LogCapture log;
    EXPECT_EQ(Records::deleteDb(foreign.env(), db_, key_, nullptr, &old_), EINVAL);
    EXPECT_EQ(ownLines(log), (Lines{"[ERROR] bdbrequest # deleteDb get failed for " + keyText_ +
                                    " key ulen 4096 size 13 data ulen 4096 size 0"}));
    EXPECT_EQ(stored(), text_);
    EXPECT_EQ(old_, before_);
}

TEST_F(DeleteDb, AFailedDeleteIsHandedOnWithALine)
{
    store(text_);
    const RefusedWrites refused(env(), db_);
    for (const bool returnOld : {false, true}) {
        const LogCapture log;
        EXPECT_EQ(del(QByteArray(), returnOld), EACCES);
        EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # db del failed for " + keyText_ + " rc 13"}));
        EXPECT_EQ(stored(), text_);
        EXPECT_EQ(activeTransactions(), 0u);
    }
}

TEST_F(DeleteDb, ATransactionThatCannotBeginIsHandedOn)
{
    ASSERT_NO_FATAL_FAILURE(settle());
    store(text_);
    const LogCapture log;
    {
        const Panic panic(env());
        EXPECT_EQ(del(), DB_RUNRECOVERY);
    }
    EXPECT_EQ(ownLines(log), (Lines{"[ERROR] bdb # txn init failed rc -30973"}));
    EXPECT_EQ(stored(), text_);
}

} // namespace

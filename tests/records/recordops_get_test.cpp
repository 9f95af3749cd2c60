#include "recordopsfixture.h"

namespace {

class GetDb : public RecordOps {
protected:
    int get() { return readItem(env(), db_, key_, &item_); }

    QVariantMap item_ = json(R"({"before":{"S":"call"}})");
    const QVariantMap before_ = item_;
};

TEST_F(GetDb, ReadsTheStoredItem)
{
    const QByteArray text = R"({"a":{"S":"x"},"n":{"N":"1.50"},"ss":{"SS":["p","q"]}})";
    store(text);
    const LogCapture log;
    EXPECT_EQ(get(), 0);
    EXPECT_EQ(item_, json(text));
    EXPECT_EQ(recordLines(log), Lines());
}

TEST_F(GetDb, BeginsNoTransactionAndKeepsNoLock)
{
    store("{}");
    const std::size_t begun = begunTransactions();
    const std::size_t asked = lockRequests();
    const std::size_t held = heldLocks();
    EXPECT_EQ(get(), 0);
    EXPECT_EQ(readItem(env(), db_, key_ + "x", &item_), DB_NOTFOUND);
    EXPECT_EQ(begunTransactions(), begun);
    EXPECT_GT(lockRequests(), asked); // or it would read what is not committed
    EXPECT_EQ(heldLocks(), held);
}

TEST_F(GetDb, ReadsTextHoweverItIsSpaced)
{
    store(" {\n\t\"a\" : { \"S\" : \"x\" } }\r\n");
    EXPECT_EQ(get(), 0);
    EXPECT_EQ(item_, json(R"({"a":{"S":"x"}})"));
}

TEST_F(GetDb, JsonThatIsNoObjectIsAnEmptyItem)
{
    for (const QByteArray text : {"5", "[]", R"("text")", "null", "{}"}) {
        store(text);
        EXPECT_EQ(get(), 0) << text.toStdString();
        EXPECT_EQ(item_, QVariantMap()) << text.toStdString();
    }
}

TEST_F(GetDb, AMissingRecordIsNotFoundWithoutALine)
{
    rawPut(db_, key_ + "x", "{}");
    rawPut(db_, key_.chopped(1), "{}");
    const LogCapture log;
    EXPECT_EQ(get(), DB_NOTFOUND);
    EXPECT_EQ(item_, before_);
    EXPECT_EQ(recordLines(log), Lines());
}

TEST_F(GetDb, KeysAreBytes)
{
    const QByteArray keys[] = {Records::recordKey("", ""), Records::recordKey(QByteArray("a\0b", 3), ""),
                               Records::recordKey(QByteArray("a\0c", 3), ""), Records::recordKey("\xe9", "\xff"),
                               Records::recordKey(QByteArray(5000, 'h'), QByteArray(5000, 'r'))};
    for (const QByteArray& key : keys)
        rawPut(db_, key, R"({"key":{"S":")" + key.toHex() + R"("}})");
    for (const QByteArray& key : keys) {
        EXPECT_EQ(readItem(env(), db_, key, &item_), 0);
        EXPECT_EQ(item_, (QVariantMap{{"key", QVariantMap{{"S", QString::fromLatin1(key.toHex())}}}}));
    }
}

TEST_F(GetDb, StoredTextThatIsNoJsonIsAParserError)
{
    for (const QByteArray& text : {QByteArray(), QByteArray("no JSON"), QByteArray(R"({"a":)"), QByteArray("{} x"),
                                   QByteArray("{}\0", 3), QByteArray("{\"a\":\"\xff\"}")}) {
        store(text);
        const LogCapture log;
        EXPECT_EQ(get(), StatusInternalError) << text.toStdString();
        EXPECT_EQ(item_, before_) << text.toStdString();
        EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # parser error"})) << text.toStdString();
        EXPECT_EQ(activeTransactions(), 0u);
    }
}

TEST_F(GetDb, ReadsValuesOfUpTo512KiB)
{
    for (const qsizetype size : {4095, 4096, 4097, 5000, 100000, 0x7ffff, 0x80000}) {
        const QByteArray text = textOfSize(size);
        ASSERT_EQ(text.size(), size);
        store(text);
        const LogCapture log;
        EXPECT_EQ(get(), 0) << size;
        EXPECT_TRUE(item_ == json(text)) << size;
        EXPECT_EQ(recordLines(log), Lines()) << size;
    }
}

TEST_F(GetDb, ALongerValueCannotBeRead)
{
    for (const qsizetype size : {0x80001, 1000000}) {
        store(textOfSize(size));
        const LogCapture log;
        EXPECT_EQ(get(), DB_BUFFER_SMALL);
        EXPECT_EQ(item_, before_);
        EXPECT_EQ(recordLines(log), (Lines{"[ERROR] bdbrequest # dbindex get failed for " + keyText_ + " rc -30999"}));
        EXPECT_EQ(activeTransactions(), 0u);
    }
}

TEST_F(GetDb, OtherErrorsAreHandedOnWithALine)
{
    BDBIndex closed(env(), DB_CXX_NO_EXCEPTIONS); // a handle that was never opened
    const LogCapture log;
    EXPECT_EQ(readItem(env(), &closed, key_, &item_), EINVAL);
    EXPECT_EQ(item_, before_);
    EXPECT_EQ(ownLines(log), (Lines{"[ERROR] bdbrequest # dbindex get failed for " + keyText_ + " rc 22"}));
}

TEST_F(GetDb, ATransactionThatCannotBeginIsHandedOn)
{
    ASSERT_NO_FATAL_FAILURE(settle());
    store("{}");
    const LogCapture log;
    {
        const Panic panic(env());
        EXPECT_EQ(get(), DB_RUNRECOVERY);
    }
    EXPECT_EQ(item_, before_);
    EXPECT_EQ(ownLines(log), (Lines{"[ERROR] bdb # txn init failed rc -30973"}));
}

TEST_F(GetDb, ReadsBesideAnotherReader)
{
    store(R"({"a":{"S":"x"}})");
    const HeldLock reader(env(), db_, key_, HeldLock::Read);
    {
        const ExpiringLocks expiring(env());
        EXPECT_EQ(get(), 0);
    }
    EXPECT_EQ(item_, json(R"({"a":{"S":"x"}})"));
    EXPECT_EQ(activeTransactions(), 1u); // the other reader's
}

} // namespace

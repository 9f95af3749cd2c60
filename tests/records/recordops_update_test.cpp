#include "recordopsfixture.h"

namespace {

TEST_F(UpdateDb, ChangesTheStoredItem)
{
    store(text_);
    const LogCapture log;
    EXPECT_EQ(update(R"({"a":{"Action":"DELETE"},"b":{"Action":"PUT","Value":{"SS":["p"]}},)"
                     R"("n":{"Action":"ADD","Value":{"N":"2"}}})"),
              0);
    EXPECT_EQ(rawRecords(db_), (RawRecords{{"0004hashrange", R"({"b":{"SS":["p"]},"n":{"N":"42"}})"}}));
    EXPECT_EQ(result_, before_); // nothing was requested
    EXPECT_EQ(recordLines(log), Lines());
}

TEST_F(UpdateDb, IsCommittedWhenItReturns)
{
    store(text_);
    ASSERT_EQ(update(putA_), 0);
    tables_.close();
    EXPECT_EQ(recordsOnDisk(tables_.directory().file("items.db"), "data"),
              (RawRecords{{"0004hashrange", R"({"a":{"S":"y"},"n":{"N":"40"}})"}}));
    tables_.reopen();
}

TEST_F(UpdateDb, MakesAMissingItem)
{
    EXPECT_EQ(update(R"({"n":{"Action":"ADD","Value":{"N":"3"}},"a":{"Action":"PUT","Value":{"S":"y"}}})"), 0);
    EXPECT_EQ(stored(), R"({"a":{"S":"y"},"n":{"N":"3"}})");
}

TEST_F(UpdateDb, AddOnAMissingAttributeStoresTheNumberAsGiven)
{
    EXPECT_EQ(update(R"({"n":{"Action":"ADD","Value":{"N":"003.50"}}})"), 0);
    EXPECT_EQ(stored(), R"({"n":{"N":"003.50"}})");
}

TEST_F(UpdateDb, AMissingItemThatStaysEmptyIsNotWritten)
{
    const RefusedWrites refused(env(), db_); // any attempt to write would fail
    for (const QByteArray updates : {R"({"a":{"Action":"DELETE"}})", "{}", R"({"a":{"Action":"OTHER"}})"}) {
        for (const QByteArray& returnValues : {QByteArray(), QByteArray("ALL_NEW"), QByteArray("ALL_OLD")}) {
            const LogCapture log;
            const std::size_t before = aborts();
            EXPECT_EQ(update(updates, returnValues), 0);
            EXPECT_EQ(aborts(), before + 1);
            EXPECT_EQ(result_, before_); // no answer
            EXPECT_EQ(recordLines(log), Lines());
            EXPECT_EQ(activeTransactions(), 0u);
        }
        EXPECT_EQ(rawRecords(db_), RawRecords());
    }
    EXPECT_EQ(update(putA_), EACCES);
}

TEST_F(UpdateDb, AnItemThatLosesItsLastAttributeStays)
{
    store(R"({"a":{"S":"x"}})");
    EXPECT_EQ(update(R"({"a":{"Action":"DELETE"}})", "ALL_NEW"), 0);
    EXPECT_EQ(stored(), "{}");
    EXPECT_EQ(result_, QVariantMap());
}

TEST_F(UpdateDb, AnswersWhatReturnValuesAsksFor)
{
    const QByteArray updates = R"({"a":{"Action":"PUT","Value":{"S":"y"}},"m":{"Action":"ADD","Value":{"N":"1"}}})";
    const std::pair<QByteArray, QByteArray> onExisting[] = {
        {"ALL_OLD", text_},
        {"UPDATED_OLD", R"({"a":{"S":"x"}})"},
        {"ALL_NEW", R"({"a":{"S":"y"},"m":{"N":"1"},"n":{"N":"40"}})"},
        {"UPDATED_NEW", R"({"a":{"S":"y"},"m":{"N":"1"}})"},
        {"NONE", "{}"},
        {"all_old", "{}"},
        {"", "{}"},
    };
    for (const auto& [returnValues, answer] : onExisting) {
        store(text_);
        result_ = before_;
        EXPECT_EQ(update(updates, returnValues), 0) << returnValues.toStdString();
        EXPECT_EQ(result_, json(answer)) << returnValues.toStdString();
        EXPECT_EQ(stored(), R"({"a":{"S":"y"},"m":{"N":"1"},"n":{"N":"40"}})") << returnValues.toStdString();
    }
    const std::pair<QByteArray, QByteArray> onMissing[] = {
        {"ALL_OLD", "{}"},
        {"UPDATED_OLD", "{}"},
        {"ALL_NEW", R"({"a":{"S":"y"},"m":{"N":"1"}})"},
        {"UPDATED_NEW", R"({"a":{"S":"y"},"m":{"N":"1"}})"},
        {"NONE", "{}"},
    };
    for (const auto& [returnValues, answer] : onMissing) {
        ASSERT_EQ(Records::deleteDb(env(), db_, key_, nullptr, nullptr), 0);
        result_ = before_;
        EXPECT_EQ(update(updates, returnValues), 0) << returnValues.toStdString();
        EXPECT_EQ(result_, json(answer)) << returnValues.toStdString();
        EXPECT_EQ(stored(), R"({"a":{"S":"y"},"m":{"N":"1"}})") << returnValues.toStdString();
    }
}

TEST_F(UpdateDb, ReadsItemsOfUpTo512KiB)
{
    for (const qsizetype size : {4096, 4097, 5000, 0x80000}) {
        const QByteArray text = textOfSize(size);
        store(text);
        EXPECT_EQ(update(putA_, "ALL_OLD"), 0) << size;
        EXPECT_TRUE(result_ == json(text)) << size;
        EXPECT_EQ(stored(), R"({"a":{"S":"y"}})") << size;
    }
}

TEST_F(UpdateDb, ConditionsSeeTheItemBeforeTheUpdate)
{
    store(text_);
    EXPECT_EQ(update(putA_, "ALL_NEW", R"({"a":{"Value":{"S":"y"}}})"), StatusConditionFailed);
    EXPECT_EQ(update(putA_, "ALL_NEW", R"({"a":{"Value":{"S":"x"}},"z":{"Exists":false}})"), 0);
    EXPECT_EQ(stored(), R"({"a":{"S":"y"},"n":{"N":"40"}})");
    EXPECT_EQ(result_, json(R"({"a":{"S":"y"},"n":{"N":"40"}})"));
}

TEST_F(UpdateDb, ConditionsOnAMissingRecordSeeAnEmptyItem)
{
    EXPECT_EQ(update(putA_, QByteArray(), R"({"a":{"Value":{"S":"x"}}})"), StatusConditionFailed);
    EXPECT_EQ(stored(), std::nullopt);
    EXPECT_EQ(update(putA_, QByteArray(), R"({"a":{"Exists":false}})"), 0);
    EXPECT_EQ(stored(), R"({"a":{"S":"y"}})");
}

TEST_F(UpdateDb, AFailedConditionWritesNothing)
{
    store(text_);
    const LogCapture log;
    const std::size_t before = aborts();
    EXPECT_EQ(update(putA_, "ALL_OLD", R"({"a":{"Exists":false}})"), StatusConditionFailed);
    EXPECT_EQ(aborts(), before + 1);
    EXPECT_EQ(stored(), text_);
    EXPECT_EQ(result_, before_);
    EXPECT_EQ(recordLines(log), Lines());
}

TEST_F(UpdateDb, CommitsWithTheServersFlags)
{
    ASSERT_NO_FATAL_FAILURE(settle());
    {
        const CommitFlags flags(DB_TXN_NOSYNC);
        const std::size_t writes = logWrites();
        EXPECT_EQ(update(putA_), 0);
        EXPECT_EQ(logWrites(), writes);
    }
    const CommitFlags flags(DB_TXN_SYNC);
    const std::size_t writes = logWrites();
    EXPECT_EQ(update(putA_), 0);
    EXPECT_GT(logWrites(), writes);
}

TEST_F(UpdateDb, KeepsTextThatLatin1Lacks)
{
    store("{\"a\":{\"S\":\"\xe2\x82\xac\"},\"b\":{\"S\":\"\xc3\xa9\"}}");
    EXPECT_EQ(update("{\"a\":{\"Action\":\"ADD\",\"Value\":{\"S\":\"\xc3\xa9\"}},"
                     "\"b\":{\"Action\":\"ADD\",\"Value\":{\"S\":\"\xc3\xbf\"}}}"),
              0);
    EXPECT_EQ(stored(), "{\"a\":{\"S\":\"\xe2\x82\xac\xc3\xa9\"},\"b\":{\"S\":\"\xc3\xa9\xc3\xbf\"}}");
}

} // namespace

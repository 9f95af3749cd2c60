#include "walkfailurefixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(WalkFailureTest, CorruptKeyEndsAScan)
{
    for (const Bytes key : {"000ax", "abcdefg", "-001ab", "", "a"}) {
        SCOPED_TRACE(key.toStdString());
        const Bytes file = "corrupt" + key.toHex() + ".db";
        put({"", ""}, file); // "0000" precedes most of them
        rawPut(db(file), key, "{}");
        Scanned progress = withLimit(9);
        LogCapture log;
        EXPECT_EQ(scanItems(env_.env(), db(file), "", "", {}, names_, &progress), 2);
        EXPECT_EQ(progress, withLimit(9));
        EXPECT_THAT(recordLines(log), ElementsAre("[ERROR] bdbrequest # scanDb Key format corruption"));
    }
}

TEST_F(WalkFailureTest, LengthBeyondTheKeyTakesWhatIsThere)
{
    rawPut(db(), "0009abc", "{}");
    Scanned progress = withLimit(9);
    EXPECT_EQ(scan({}, {}, &progress), 0);
    EXPECT_EQ(progress.items,
              QVariantList{(QVariantMap{{"id", QVariantMap{{"S", "abc"}}}, {"when", QVariantMap{{"S", ""}}}})});
}

TEST_F(WalkFailureTest, StoredTextThatIsNotJsonEndsTheWalk)
{
    put({"a", "1"});
    rawPut(db(), Records::recordKey("a", "2"), R"({"v":)");
    put({"a", "3"});
    expectFailedScan(2, {"[ERROR] bdbrequest # scanDb Failed to parse"});
    expectFailedScan(2, {"[ERROR] bdbrequest # scanDb Failed to parse"}, {"a", "1"});
    for (const bool forward : {true, false})
        expectFailedQuery({"a", "", 9, forward, nullptr}, 2, {"[ERROR] bdbrequest # queryDb Failed to parse"});
}

TEST_F(WalkFailureTest, EmptyStoredTextIsNotJson)
{
    rawPut(db(), Records::recordKey("a", "2"), "");
    expectFailedScan(2, {"[ERROR] bdbrequest # scanDb Failed to parse"});
    expectFailedQuery({"a", "", 9, true, nullptr}, 2, {"[ERROR] bdbrequest # queryDb Failed to parse"});
}

TEST_F(WalkFailureTest, OnlyRecordsThatAreWantedAreParsed)
{
    put({"a", "1"});
    rawPut(db(), Records::recordKey("a", "2"), "no JSON");
    LogCapture log;
    Scanned progress = withLimit(9);
    EXPECT_EQ(scan({}, {{"when", condition("LT", {"2"})}}, &progress), 0);
    EXPECT_EQ(progress, (Scanned{7, 1, 2, itemsOf({{"a", "1"}}), {}, {}}));

    Queried result;
    EXPECT_EQ(query({"a", "", 9, true, nullptr}, &result, false), 0); // counting needs no values
    EXPECT_EQ(result, (Queried{2, {}, {}}));
    const QVariantMap lt = condition("LT", {"2"});
    EXPECT_EQ(query({"a", "", 9, true, &lt}, &result), 0);
    EXPECT_EQ(result, (Queried{1, itemsOf({{"a", "1"}}), {}}));
    EXPECT_THAT(recordLines(log), IsEmpty());
}

TEST_F(WalkFailureTest, JsonThatIsNoObjectIsAnItemOfKeysAlone)
{
    rawPut(db(), Records::recordKey("a", "1"), "[1,2]");
    Scanned progress = withLimit(9);
    EXPECT_EQ(scan({}, {}, &progress), 0);
    const QVariantMap keys{{"id", QVariantMap{{"S", "a"}}}, {"when", QVariantMap{{"S", "1"}}}};
    EXPECT_EQ(progress.items, QVariantList{keys});
}

TEST_F(WalkFailureTest, TransactionThatCannotBeginIsReported)
{
    ASSERT_NO_FATAL_FAILURE(env_.settle());
    put({"a", "1"});
    ASSERT_EQ(env_.env()->set_flags(DB_PANIC_ENVIRONMENT, 1), 0);
    Scanned progress = withLimit(9);
    LogCapture log;
    EXPECT_EQ(scan({}, {}, &progress), DB_RUNRECOVERY);
    EXPECT_EQ(progress, withLimit(9));
    Queried result;
    EXPECT_EQ(query({"a", "", 9, true, nullptr}, &result), DB_RUNRECOVERY);
    EXPECT_EQ(result, Queried());
    EXPECT_EQ(env_.env()->set_flags(DB_PANIC_ENVIRONMENT, 0), 0); // so that it can be closed
    std::vector<std::string> lines = recordLines(log);
    std::erase_if(lines, [](const std::string& line) { return line.find("BDB: ") != std::string::npos; });
    const std::string code = std::to_string(DB_RUNRECOVERY);
    EXPECT_THAT(lines, ElementsAre("[ERROR] bdb # txn init failed rc " + code,
                                   "[ERROR] bdbrequest # cursor open failed " + code,
                                   "[ERROR] bdb # txn init failed rc " + code,
                                   "[ERROR] bdbrequest # cursor open failed " + code));
}

TEST_F(WalkFailureTest, CursorThatCannotOpenIsReported)
{
    // The database belongs to a different environment than the request's transactions.
    TableEnv other;
    BDBIndex* const foreign = other.index();
    Scanned progress = withLimit(9);
    LogCapture log;
    EXPECT_EQ(scanItems(env_.env(), foreign, "", "", {}, names_, &progress), EINVAL);
    EXPECT_EQ(progress, withLimit(9));
    Queried result;
    EXPECT_EQ(queryItems(env_.env(), foreign, {"a", "", 9, true, nullptr}, true, names_, &result), EINVAL);
    std::vector<std::string> lines = recordLines(log);
    std::erase_if(lines, [](const std::string& line) { return line.find("BDB: ") != std::string::npos; });
    EXPECT_THAT(
        lines, ElementsAre("[ERROR] bdbrequest # cursor open failed 22", "[ERROR] bdbrequest # cursor open failed 22"));
}

TEST_F(WalkFailureTest, NoTransactionRemains)
{
    put({"a", "1"});
    rawPut(db(), Records::recordKey("a", "2"), "no JSON");
    Scanned progress = withLimit(9);
    Queried result;
    EXPECT_EQ(scan({}, {}, &progress), 2);
    EXPECT_EQ(scan({}, {{"when", condition("EQ", {})}}, &progress), 2);
    EXPECT_EQ(scan({}, {{"when", condition("EQ", {"1"})}}, &progress), 0);
    EXPECT_EQ(query({"a", "", 9, true, nullptr}, &result), 2);
    EXPECT_EQ(query({"a", "", 1, true, nullptr}, &result), 0);
    DB_TXN_STAT* statistics = nullptr;
    ASSERT_EQ(env_.env()->txn_stat(&statistics, 0), 0);
    EXPECT_EQ(statistics->st_nactive, 0U);
    std::free(statistics);
}

TEST_F(WalkFailureTest, NoLockRemains)
{
    for (int n = 0; n < 200; ++n)
        put({"a", Bytes::number(1000 + n)});
    rawPut(db(), Records::recordKey("b", ""), "no JSON");
    Scanned progress = withLimit(100);
    ASSERT_EQ(scan({}, {}, &progress), 0); // ended at its limit
    ASSERT_EQ(scan({}, {}, &progress), 0);
    progress.limit = 1000;
    ASSERT_EQ(scan({}, {}, &progress), 2); // ended by the record that is no JSON
    BDBTxn txn;
    ASSERT_EQ(txn.begin(env_.env(), DB_TXN_NOWAIT), 0);
    const Bytes value = "{}";
    for (int n = 0; n < 200; ++n) {
        const Bytes key = Records::recordKey("a", Bytes::number(1000 + n));
        Dbt keyDbt = dbtOf(key);
        Dbt data = dbtOf(value);
        ASSERT_EQ(db()->put(&txn, &keyDbt, &data, 0), 0);
    }
    EXPECT_EQ(txn.abort(), 0);
}

} // namespace

#include "storage/bdbtxn.h"
#include "walkfixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/** The JSON text of an item whose stored value is exactly `size` bytes. */
Bytes valueOfSize(qsizetype size)
{
    const Bytes frame = R"({"v":{"S":""}})";
    return R"({"v":{"S":")" + Bytes(size - frame.size(), 'x') + R"("}})";
}

class WalkFailureTest : public WalkTest {
protected:
    /** A scan that had gathered something before, and must still have exactly that when it fails. */
    void expectFailedScan(int rc, const std::vector<std::string>& lines, const Keys& start = {})
    {
        const Scanned before{
            .limit = 50, .count = 1, .scanned = 3, .items = {QVariantMap{{"x", "y"}}}, .lastHash = {}, .lastRange = {}};
        Scanned progress = before;
        LogCapture log;
        EXPECT_EQ(scan(start, {}, &progress), rc);
        EXPECT_EQ(progress, before);
        EXPECT_EQ(recordLines(log), lines);
    }

    void expectFailedQuery(const QueryRange& asked, int rc, const std::vector<std::string>& lines)
    {
        const Queried before{7, {"x"}, "y"};
        Queried result = before;
        LogCapture log;
        EXPECT_EQ(query(asked, &result), rc);
        EXPECT_EQ(result, before);
        EXPECT_EQ(recordLines(log), lines);
    }
};

TEST_F(WalkFailureTest, LargeValuesAreReadAfterOneGrowth)
{
    for (const qsizetype size : {4095, 4096, 4097, 5000, 0x80000 - 1, 0x80000}) {
        SCOPED_TRACE(size);
        put({"a", "1"});
        rawPut(db(), Records::recordKey("a", "2"), valueOfSize(size));
        put({"a", "3"});
        LogCapture log;
        for (const Keys& start : {Keys{}, Keys{"a", "1"}, Keys{"a", "10"}}) {
            Scanned progress = withLimit(9);
            EXPECT_EQ(scan(start, {}, &progress), 0);
            const int skipped = start.first.isEmpty() ? 0 : 1;
            ASSERT_EQ(progress.count, 3 - skipped);
            EXPECT_EQ(progress.items.at(1 - skipped).toMap().value("v").toMap().value("S").toString().size(),
                      size - 14);
            EXPECT_EQ(progress.items.at(2 - skipped), QVariant(itemOf({"a", "3"})));
        }
        for (const bool forward : {true, false}) {
            for (const Bytes start : {"", "2", "10", "20"}) {
                Queried result;
                EXPECT_EQ(query({"a", start, 9, forward, nullptr}, &result), 0);
                QStringList ranges;
                for (const QVariant& item : result.items)
                    ranges.append(item.toMap().value("when").toMap().value("S").toString());
                const QStringList upward = start.isEmpty() ? QStringList{"1", "2", "3"}
                                           : start == "10" ? QStringList{"2", "3"}
                                                           : QStringList{"3"};
                const QStringList downward = start.isEmpty() ? QStringList{"3", "2", "1"}
                                             : start == "20" ? QStringList{"3", "2", "1"}
                                             : start == "10" ? QStringList{"2", "1"}
                                                             : QStringList{"1"};
                EXPECT_EQ(ranges, forward ? upward : downward) << start.toStdString();
            }
        }
        EXPECT_THAT(recordLines(log), IsEmpty());
    }
}

TEST_F(WalkFailureTest, ValueAboveTheLargestSizeEndsTheWalk)
{
    put({"a", "1"});
    rawPut(db(), Records::recordKey("a", "2"), valueOfSize(0x80001));
    put({"a", "3"});
    expectFailedScan(DB_BUFFER_SMALL, {"[ERROR] bdbrequest # scanDb cursor get failed for  key ulen 4096 size 6 data "
                                       "ulen 524288 size 524289"});
    expectFailedScan(DB_BUFFER_SMALL,
                     {"[ERROR] bdbrequest # scanDb cursor get failed for 0001a1 key ulen 4096 size 6 data ulen 524288 "
                      "size 524289"},
                     {"a", "1"});
    expectFailedQuery({"a", "1", 9, true, nullptr}, DB_BUFFER_SMALL,
                      {"[ERROR] bdbrequest # queryDb cursor get failed for 0001a1 key ulen 4096 size 6 data ulen "
                       "524288 size 524289"});
    // Downward, the seek key holds the byte that stands in for no bound.
    expectFailedQuery({"a", "", 9, false, nullptr}, DB_BUFFER_SMALL,
                      {"[ERROR] bdbrequest # queryDb cursor get failed for 0001a\xff key ulen 4096 size 6 data ulen "
                       "524288 size 524289"});

    // A page that ends in front of it is not troubled.
    Scanned progress = withLimit(1);
    EXPECT_EQ(scan({}, {}, &progress), 0);
    EXPECT_EQ(progress.items, itemsOf({{"a", "1"}}));
}

TEST_F(WalkFailureTest, KeyAboveTheBufferEndsTheWalk)
{
    const Bytes range(4096 - 5, 'r');
    put({"a", range}); // 4096 bytes with "0001a" in front: fits
    Scanned progress = withLimit(9);
    EXPECT_EQ(scan({}, {}, &progress), 0);
    EXPECT_EQ(progress.items, itemsOf({{"a", range}}));
    Queried result;
    EXPECT_EQ(query({"a", "", 9, false, nullptr}, &result), 0);
    EXPECT_EQ(result.items, itemsOf({{"a", range}}));

    put({"a", range + 's'});
    const std::string sizes = " key ulen 4096 size 4097 data ulen 524288 size ";
    LogCapture log;
    progress = withLimit(9);
    EXPECT_EQ(scan({}, {}, &progress), DB_BUFFER_SMALL);
    EXPECT_EQ(progress, withLimit(9));
    EXPECT_EQ(query({"a", "", 9, true, nullptr}, &result), DB_BUFFER_SMALL);
    EXPECT_THAT(recordLines(log),
                ElementsAre(testing::StartsWith("[ERROR] bdbrequest # scanDb cursor get failed for " + sizes),
                            testing::StartsWith("[ERROR] bdbrequest # queryDb cursor get failed for 0001a" + sizes)));

    // The buffer is as long as the start key with four bytes to spare.
    const Bytes start = range + "rrr";
    put({"a", range + "sssss"});
    put({"a", range + "ssssss"});
    progress = withLimit(2);
    EXPECT_EQ(scan({"a", start}, {}, &progress), 0);
    EXPECT_EQ(progress.items, itemsOf({{"a", range + "s"}, {"a", range + "sssss"}}));
    LogCapture second;
    progress = withLimit(9);
    EXPECT_EQ(scan({"a", start}, {}, &progress), 0);
    EXPECT_EQ(progress.items, itemsOf({{"a", range + "s"}, {"a", range + "sssss"}, {"a", range + "ssssss"}}));
    put({"a", range + "ssssssss"});
    EXPECT_EQ(scan({"a", start}, {}, &progress), DB_BUFFER_SMALL);
    EXPECT_THAT(recordLines(second), ElementsAre(testing::StartsWith(
                                         "[ERROR] bdbrequest # scanDb cursor get failed for 0001a" +
                                         start.toStdString() + " key ulen 4103 size 4104 data ulen 524288 size ")));
}

TEST_F(WalkFailureTest, CorruptKeyEndsAScan)
{
    for (const Bytes key : {"000ax", "abcdefg", "-001ab", "", "a"}) {
        SCOPED_TRACE(key.toStdString());
        const Bytes file = "corrupt" + key.toHex() + ".db";
        put({"", ""}, file); // "0000" is in front of most of them
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
    EXPECT_EQ(query({"a", "", 9, true, nullptr}, &result, false), 0); // a count needs no values
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

TEST_F(WalkFailureTest, TransactionThatCannotBeginIsTold)
{
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

TEST_F(WalkFailureTest, CursorThatCannotOpenIsTold)
{
    // The database belongs to another environment than the request's transactions.
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

TEST_F(WalkFailureTest, NoTransactionStaysBehind)
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

TEST_F(WalkFailureTest, NoLockStaysBehind)
{
    for (int n = 0; n < 200; ++n)
        put({"a", Bytes::number(1000 + n)});
    rawPut(db(), Records::recordKey("b", ""), "no JSON");
    Scanned progress = withLimit(100);
    ASSERT_EQ(scan({}, {}, &progress), 0); // ended on its limit
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

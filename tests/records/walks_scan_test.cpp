#include "records/requeststatus.h"
#include "walkfixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/** In key order. The lengths of hash keys come first in a record key, so "b" lies in front of "aa". */
const QList<Keys> Records{
    {"", "r"},     {"a", ""},     {"a", "a"}, {"a", "ab"}, {"a", "b"},     {"b", "a"},   {"c", "c"},
    {"z", "\xff"}, {"\xe9", "a"}, {"aa", ""}, {"aa", "b"}, {"az", "\xe9"}, {"aaa", "x"}, {"aaaaaaaaaa", "y"},
};

Bytes keyOf(const Keys& keys)
{
    return Records::recordKey(keys.first, keys.second);
}

class ScanDbTest : public WalkTest {
protected:
    /** What a scan of Records has to answer, told by their positions. */
    Scanned expected(const Keys& start, const QVariantMap& filter, Scanned progress) const
    {
        qsizetype at = 0;
        if (!start.first.isEmpty()) {
            while (at < Records.size() && keyOf(Records.at(at)) < keyOf(start))
                ++at;
            if (at < Records.size() && Records.at(at) == start) {
                if (progress.limit <= 0)
                    return stoppedAt(start, progress);
                ++at;
            }
        }
        for (; at < Records.size(); ++at) {
            const Keys& keys = Records.at(at);
            ++progress.scanned;
            bool stop = false;
            const QVariantMap hash = filter.value(names_.hash).toMap();
            const QVariantMap range = filter.value(names_.range).toMap();
            if (matches(hash, keys.first, lowOf(hash), &stop) && matches(range, keys.second, lowOf(range), &stop)) {
                ++progress.count;
                progress.items.append(itemOf(keys));
            }
            if (--progress.limit <= 0)
                return stoppedAt(keys, progress);
        }
        return progress;
    }

    static Scanned stoppedAt(const Keys& keys, Scanned progress)
    {
        progress.lastHash = terminated(keys.first);
        progress.lastRange = terminated(keys.second);
        return progress;
    }
};

TEST_F(ScanDbTest, WalksEverythingInKeyOrder)
{
    QList<Keys> shuffled = Records;
    std::reverse(shuffled.begin(), shuffled.end());
    putAll(shuffled);
    LogCapture log;
    Scanned progress = withLimit(100);
    EXPECT_EQ(scan({}, {}, &progress), 0);
    EXPECT_EQ(progress, (Scanned{86, 14, 14, itemsOf(Records), {}, {}}));
    EXPECT_THAT(recordLines(log), IsEmpty());
}

TEST_F(ScanDbTest, ACountGathersNothingButReadsEverything)
{
    putAll(Records);
    ItemFormatter format(names_);
    const QVariantMap noFilter;
    const ScanRange range{{}, {}, 100, noFilter, true};
    QByteArray items = "before";
    ScanResult found;
    EXPECT_EQ(Records::scanDb(env_.env(), db(), range, &format, &items, &found), 0);
    EXPECT_EQ(found.count, Records.size());
    EXPECT_EQ(found.scanned, Records.size());
    EXPECT_EQ(items, "before");

    rawPut(db(), Records::recordKey("d", "0"), "no JSON");
    EXPECT_EQ(Records::scanDb(env_.env(), db(), range, &format, &items, &found), StatusInternalError);
    EXPECT_EQ(items, "before");
}

TEST_F(ScanDbTest, EmptyFileGivesNothing)
{
    for (const int limit : {100, 1, 0, -1}) {
        Scanned progress = withLimit(limit);
        EXPECT_EQ(scan({}, {}, &progress), 0);
        EXPECT_EQ(progress, withLimit(limit));
        EXPECT_EQ(scan({"a", "b"}, {}, &progress), 0);
        EXPECT_EQ(progress, withLimit(limit));
    }
}

TEST_F(ScanDbTest, EndsOnTheLimitWithTheLastExaminedKey)
{
    putAll(Records);
    Scanned progress = withLimit(2);
    EXPECT_EQ(scan({}, {}, &progress), 0);
    EXPECT_EQ(progress, (Scanned{0, 2, 2, itemsOf(Records.mid(0, 2)), terminated("a"), terminated("")}));
}

TEST_F(ScanDbTest, LimitThatIsUsedUpByTheLastRecordIsToldAsAStop)
{
    putAll({{"a", "1"}, {"a", "2"}});
    Scanned progress = withLimit(2);
    EXPECT_EQ(scan({}, {}, &progress), 0);
    EXPECT_EQ(progress, (Scanned{0, 2, 2, itemsOf({{"a", "1"}, {"a", "2"}}), terminated("a"), terminated("2")}));

    Scanned next = withLimit(2);
    EXPECT_EQ(scan({"a", "2"}, {}, &next), 0);
    EXPECT_EQ(next, withLimit(2));
}

TEST_F(ScanDbTest, RecordThatDoesNotMatchIsScannedAndCanBeTheLast)
{
    putAll({{"a", "1"}, {"a", "2"}});
    Scanned progress = withLimit(1);
    EXPECT_EQ(scan({}, {{"when", condition("EQ", {"2"})}}, &progress), 0);
    EXPECT_EQ(progress, (Scanned{0, 0, 1, {}, terminated("a"), terminated("1")}));
}

TEST_F(ScanDbTest, AtLeastOneRecordIsExaminedWithoutAStartKey)
{
    putAll({{"a", "1"}, {"a", "2"}});
    for (const int limit : {0, -1, -5}) {
        Scanned progress = withLimit(limit);
        EXPECT_EQ(scan({}, {}, &progress), 0);
        EXPECT_EQ(progress, (Scanned{limit - 1, 1, 1, itemsOf({{"a", "1"}}), terminated("a"), terminated("1")}));
    }
}

TEST_F(ScanDbTest, LimitOfNothingEndsAtAStartKeyThatIsThere)
{
    putAll({{"a", "1"}, {"a", "2"}});
    for (const int limit : {0, -1}) {
        Scanned progress = withLimit(limit);
        EXPECT_EQ(scan({"a", "1"}, {}, &progress), 0);
        EXPECT_EQ(progress, (Scanned{limit, 0, 0, {}, terminated("a"), terminated("1")}));
    }
}

TEST_F(ScanDbTest, VanishedStartKeyIsNotSkippedOver)
{
    putAll({{"a", "1"}, {"a", "3"}});
    for (const int limit : {1, 0}) {
        Scanned progress = withLimit(limit);
        EXPECT_EQ(scan({"a", "2"}, {}, &progress), 0);
        EXPECT_EQ(progress, (Scanned{limit - 1, 1, 1, itemsOf({{"a", "3"}}), terminated("a"), terminated("3")}));
    }
}

TEST_F(ScanDbTest, StartRangeCountsOnlyWithAStartHash)
{
    putAll({{"a", "1"}, {"a", "2"}});
    Scanned progress = withLimit(9);
    EXPECT_EQ(scan({"", "1"}, {}, &progress), 0);
    EXPECT_EQ(progress, (Scanned{7, 2, 2, itemsOf({{"a", "1"}, {"a", "2"}}), {}, {}}));
}

TEST_F(ScanDbTest, CarriesItsCountsOn)
{
    putAll({{"a", "1"}, {"a", "2"}, {"a", "3"}});
    const QVariantList before{"x", "y"};
    Scanned progress{.limit = 10, .count = 2, .scanned = 7, .items = before, .lastHash = {}, .lastRange = {}};
    EXPECT_EQ(scan({"a", "1"}, {{"when", condition("GT", {"2"})}}, &progress), 0);
    EXPECT_EQ(progress, (Scanned{8, 3, 9, before + itemsOf({{"a", "3"}}), {}, {}}));
}

TEST_F(ScanDbTest, EveryStartKeyWithEveryLimit)
{
    putAll(Records);
    QList<Keys> starts = Records;
    starts += {{"", ""},           {"a", "0"}, {"a", "aa"},      {"a", "\xff"}, {"A", ""},    {"0", "z"},
               {"b", ""},          {"d", "d"}, {"\xff", "\xff"}, {"ab", "a"},   {"aaa", "y"}, {"aaaaaaaaaa", "yy"},
               {"aaaaaaaaaaa", ""}};
    for (const Keys& start : starts) {
        SCOPED_TRACE(testing::PrintToString(start));
        for (int limit = -1; limit <= static_cast<int>(Records.size()) + 1; ++limit) {
            Scanned progress = withLimit(limit);
            EXPECT_EQ(scan(start, {}, &progress), 0);
            EXPECT_EQ(progress, expected(start, {}, withLimit(limit))) << limit;
        }
    }
}

TEST_F(ScanDbTest, EveryPageSizeGivesEachRecordOnce)
{
    putAll(Records.mid(1)); // without the empty hash key, from which no scan can go on
    for (int limit = 1; limit <= static_cast<int>(Records.size()); ++limit) {
        Scanned progress = withLimit(limit);
        QVariantList all;
        Keys start;
        do {
            progress = withLimit(limit);
            ASSERT_EQ(scan(start, {}, &progress), 0);
            EXPECT_LE(progress.items.size(), limit);
            all += progress.items;
            start = {progress.lastHash.chopped(progress.lastHash.isEmpty() ? 0 : 1),
                     progress.lastRange.chopped(progress.lastRange.isEmpty() ? 0 : 1)};
        } while (!start.first.isEmpty() && all.size() <= Records.size());
        EXPECT_EQ(all, itemsOf(Records.mid(1))) << limit;
    }
}

TEST_F(ScanDbTest, EveryOperatorOnEitherKey)
{
    putAll(Records);
    QList<QVariantMap> conditions{QVariantMap()};
    for (const Bytes value : {"", "a", "aa", "b", "\xe9", "\xff"}) {
        for (const char* name : {"EQ", "LE", "LT", "GE", "GT", "BEGINS_WITH", "NE", "CONTAINS"})
            conditions.append(condition(name, {value}));
        conditions.append(condition("BETWEEN", {value, "b"}));
        conditions.append(condition("BETWEEN", {"a", value}));
    }
    for (const QVariantMap& hash : conditions) {
        for (const QVariantMap& range : conditions) {
            const QVariantMap filter{{"id", hash}, {"when", range}};
            SCOPED_TRACE(testing::PrintToString(filter));
            Scanned progress = withLimit(100);
            EXPECT_EQ(scan({}, filter, &progress), 0);
            EXPECT_EQ(progress, expected({}, filter, withLimit(100)));
        }
        for (const int limit : {0, 1, 5}) {
            const QVariantMap filter{{"id", hash}};
            SCOPED_TRACE(testing::PrintToString(filter) + " limit " + std::to_string(limit));
            for (const Keys& start : {Keys{"a", "b"}, Keys{"c", ""}}) {
                Scanned progress = withLimit(limit);
                EXPECT_EQ(scan(start, filter, &progress), 0);
                EXPECT_EQ(progress, expected(start, filter, withLimit(limit)));
            }
        }
    }
}

TEST_F(ScanDbTest, ConditionsOnOtherAttributesLetEverythingThrough)
{
    putAll({{"a", "1"}, {"a", "2"}});
    const QVariantMap filter{{"v", condition("EQ", {"nothing"})},
                             {"w", QVariantMap{{"ComparisonOperator", "EQ"}}}, // not even looked at
                             {"id", QVariantMap()},
                             {"when", "no condition"}};
    LogCapture log;
    Scanned progress = withLimit(9);
    EXPECT_EQ(scan({}, filter, &progress), 0);
    EXPECT_EQ(progress, (Scanned{7, 2, 2, itemsOf({{"a", "1"}, {"a", "2"}}), {}, {}}));
    EXPECT_THAT(recordLines(log), IsEmpty());
}

TEST_F(ScanDbTest, StopOfAConditionDoesNotEndAScan)
{
    putAll({{"a", "1"}, {"a", "5"}, {"b", "1"}, {"b", "5"}});
    Scanned progress = withLimit(9);
    EXPECT_EQ(scan({}, {{"when", condition("EQ", {"1"})}}, &progress), 0);
    EXPECT_EQ(progress, (Scanned{5, 2, 4, itemsOf({{"a", "1"}, {"b", "1"}}), {}, {}}));
}

TEST_F(ScanDbTest, MalformedFilterReadsNothing)
{
    putAll({{"a", "1"}});
    for (const char* name : {"id", "when"}) {
        LogCapture log;
        Scanned progress{.limit = 9, .count = 1, .scanned = 2, .items = {"x"}, .lastHash = {}, .lastRange = {}};
        const Scanned before = progress;
        EXPECT_EQ(scan({}, {{name, condition("BETWEEN", {"a", "b", "c"})}}, &progress), 2);
        EXPECT_EQ(progress, before);
        EXPECT_THAT(recordLines(log), ElementsAre("[ERROR] bdbrequest # incomplete value list count 3"));
    }
    LogCapture log;
    Scanned progress = withLimit(9);
    EXPECT_EQ(
        scan({}, {{"id", json(R"({"ComparisonOperator":"EQ","AttributeValueList":[{"S":"\u0394"}]})")}}, &progress), 4);
    EXPECT_EQ(progress, withLimit(9));
}

TEST_F(ScanDbTest, OneAttributeForBothKeysTakesTheRange)
{
    put({"a", "1"});
    Scanned progress = withLimit(9);
    EXPECT_EQ(scanItems(env_.env(), db(), "", "", {}, {"k", "k"}, &progress), 0);
    QVariantMap item = attributesOf({"a", "1"});
    item.insert("k", QVariantMap{{"S", "1"}});
    EXPECT_EQ(progress.items, QVariantList{item});
}

TEST_F(ScanDbTest, KeyAttributesReplaceStoredOnesOfTheSameName)
{
    rawPut(db(), Records::recordKey("a", "1"), R"({"id":{"N":"9"},"v":{"S":"x"}})");
    Scanned progress = withLimit(9);
    EXPECT_EQ(scan({}, {}, &progress), 0);
    EXPECT_EQ(progress.items, QVariantList{(QVariantMap{{"id", QVariantMap{{"S", "a"}}},
                                                        {"when", QVariantMap{{"S", "1"}}},
                                                        {"v", QVariantMap{{"S", "x"}}}})});
}

TEST_F(ScanDbTest, HashKeyOfFiveDigitsReadsBackWrong)
{
    const Bytes hash(10000, 'h');
    put({"a", "1"});
    rawPut(db(), Records::recordKey(hash, "r"), "{}");
    Scanned progress = withLimit(9);
    EXPECT_EQ(scan({"a", ""}, {}, &progress), DB_BUFFER_SMALL); // too long for a key buffer of 4096 bytes

    // Four digits say 1000, so one digit and 999 bytes count as the hash key. A long start key makes the buffer large.
    progress = withLimit(9);
    EXPECT_EQ(scan({Bytes(9999, 'g'), ""}, {}, &progress), 0);
    EXPECT_EQ(progress.count, 0) << "the length of the start key sorts behind it";
    progress = withLimit(9);
    EXPECT_EQ(scan({hash, ""}, {}, &progress), 0);
    EXPECT_EQ(progress,
              (Scanned{8,
                       1,
                       1,
                       {QVariantMap{{"id", QVariantMap{{"S", QString::fromLatin1("0" + Bytes(999, 'h'))}}},
                                    {"when", QVariantMap{{"S", QString::fromLatin1(Bytes(9001, 'h') + "r")}}}}},
                       {},
                       {}}));
}

} // namespace

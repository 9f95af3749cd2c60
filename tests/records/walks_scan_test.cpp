#include "scanwalkfixture.h"

namespace {

using testing::IsEmpty;

TEST_F(ScanDbTest, WalksEverythingInKeyOrder)
{
    QList<Keys> shuffled = Sample;
    std::reverse(shuffled.begin(), shuffled.end());
    putAll(shuffled);
    LogCapture log;
    Scanned progress = withLimit(100);
    EXPECT_EQ(scan({}, {}, &progress), 0);
    EXPECT_EQ(progress, (Scanned{86, 14, 14, itemsOf(Sample), {}, {}}));
    EXPECT_THAT(recordLines(log), IsEmpty());
}

TEST_F(ScanDbTest, ACountGathersNothingButReadsEverything)
{
    putAll(Sample);
    ItemFormatter format(names_);
    const QVariantMap noFilter;
    const ScanRange range{{}, {}, 100, noFilter, true};
    QByteArray items = "before";
    ScanResult found;
    EXPECT_EQ(Records::scanDb(env_.env(), db(), range, &format, &items, &found), 0);
    EXPECT_EQ(found.count, Sample.size());
    EXPECT_EQ(found.scanned, Sample.size());
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
    putAll(Sample);
    Scanned progress = withLimit(2);
    EXPECT_EQ(scan({}, {}, &progress), 0);
    EXPECT_EQ(progress, (Scanned{0, 2, 2, itemsOf(Sample.mid(0, 2)), terminated("a"), terminated("")}));
}

TEST_F(ScanDbTest, LimitThatIsUsedUpByTheLastRecordCountsAsAStop)
{
    putAll({{"a", "1"}, {"a", "2"}});
    Scanned progress = withLimit(2);
    EXPECT_EQ(scan({}, {}, &progress), 0);
    EXPECT_EQ(progress, (Scanned{0, 2, 2, itemsOf({{"a", "1"}, {"a", "2"}}), terminated("a"), terminated("2")}));

    Scanned next = withLimit(2);
    EXPECT_EQ(scan({"a", "2"}, {}, &next), 0);
    EXPECT_EQ(next, withLimit(2));
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
    putAll(Sample);
    QList<Keys> starts = Sample;
    starts += {{"", ""},           {"a", "0"}, {"a", "aa"},      {"a", "\xff"}, {"A", ""},    {"0", "z"},
               {"b", ""},          {"d", "d"}, {"\xff", "\xff"}, {"ab", "a"},   {"aaa", "y"}, {"aaaaaaaaaa", "yy"},
               {"aaaaaaaaaaa", ""}};
    for (const Keys& start : starts) {
        SCOPED_TRACE(testing::PrintToString(start));
        for (int limit = -1; limit <= static_cast<int>(Sample.size()) + 1; ++limit) {
            Scanned progress = withLimit(limit);
            EXPECT_EQ(scan(start, {}, &progress), 0);
            EXPECT_EQ(progress, expected(start, {}, withLimit(limit))) << limit;
        }
    }
}

TEST_F(ScanDbTest, EveryPageSizeGivesEachRecordOnce)
{
    putAll(Sample.mid(1)); // without the empty hash key, after which no scan can continue
    for (int limit = 1; limit <= static_cast<int>(Sample.size()); ++limit) {
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
        } while (!start.first.isEmpty() && all.size() <= Sample.size());
        EXPECT_EQ(all, itemsOf(Sample.mid(1))) << limit;
    }
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

    // The four digits are 1000, so one digit and 999 bytes count as the hash key. A long start key enlarges the buffer.
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

#include "scanfixture.h"

namespace {

using testing::IsEmpty;

TEST_F(ScanTest, EmptyTableWalksAllPartitions)
{
    EXPECT_EQ(scan(), scanReply({}, 0));
    EXPECT_EQ(scan({{"Count", true}}), scanCounts(0, 0));
    EXPECT_EQ(scan({{"Limit", 1}, {"AttributesToGet", QStringList{"v"}}}), scanReply({}, 0));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(ScanTest, CreatesNoFileAndSeesThoseThatAreCreatedLater)
{
    EXPECT_EQ(scan(), scanReply({}, 0));
    EXPECT_EQ(get(hashIn(9), "1"), okReply());
    EXPECT_EQ(tableFiles(), std::set<std::string>{"t"});
    putItems({itemOf(hashIn(9), "1")});
    EXPECT_EQ(scan(), scanReply({itemOf(hashIn(9), "1")}, 1));
    EXPECT_EQ(get(hashIn(9), "1"), okReply({{"Item", QVariantMap()}}));
    EXPECT_EQ(tableFiles(), (std::set<std::string>{"t", dataFile(9)}));
}

TEST_F(ScanTest, ADirectoryHasRoomForManyTablesThatAreScanned)
{
    constexpr int Tables = 20; // with a file for each partition, four would be too many
    for (int n = 0; n < Tables; ++n) {
        const QString table = tableName("t" + QString::number(n));
        createTable(table);
        ASSERT_EQ(request("PutItem", {{"TableName", table}, {"Item", itemOf(hashIn(n), "1")}}).value("__rc"), 200);
    }
    for (int n = 0; n < Tables; ++n)
        EXPECT_EQ(request("Scan", {{"TableName", tableName("t" + QString::number(n))}}),
                  scanReply({itemOf(hashIn(n), "1")}, 1))
            << n;
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(ScanTest, OnePageGoesOverAllPartitionsInTheirOrder)
{
    QVariantList items;
    for (const int partition : {0, 1, 9, 10, 0x7f, 0x80, 0xfe, 0xff}) {
        for (const char* range : {"", "a", "\xc3\xa9"})
            items.append(itemOf(hashIn(partition), range, {{"v", numberValue(QString::number(partition))}}));
    }
    QVariantList shuffled = items;
    std::reverse(shuffled.begin(), shuffled.end());
    putItems(shuffled);
    EXPECT_EQ(scan(), scanReply(items, 24));
    EXPECT_EQ(scan({{"Count", true}}), scanCounts(24, 24));

    // The limit is one budget for the whole scan: it runs out in the middle of a later partition.
    EXPECT_EQ(scan({{"Limit", 8}}), scanReply(items.mid(0, 8), 8, bareKey(hashIn(9), "a")));
    EXPECT_EQ(scan({{"Limit", 8}, {"Count", true}}),
              okReply({{"Count", 8}, {"ScannedCount", 8}, {"LastEvaluatedKey", bareKey(hashIn(9), "a")}}));
    EXPECT_EQ(scan({{"Limit", 24}}), scanReply(items, 24, bareKey(hashIn(255), "\xc3\xa9")));
    EXPECT_EQ(scan({{"Limit", 25}}), scanReply(items, 24));

    // A start key belongs to the partition of its hash key, whether its record exists or not.
    EXPECT_EQ(scan({{"ExclusiveStartKey", itemKey(hashIn(10), "a")}}), scanReply(items.mid(11), 13));
    EXPECT_EQ(scan({{"ExclusiveStartKey", itemKey(hashIn(10), "b")}}), scanReply(items.mid(11), 13));
    EXPECT_EQ(scan({{"ExclusiveStartKey", itemKey(hashIn(0x81), "z")}}), scanReply(items.mid(18), 6));
    EXPECT_EQ(scan({{"ExclusiveStartKey", itemKey(hashIn(255), "\xc3\xa9")}}), scanReply({}, 0));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(ScanTest, PageThatFillsUpDoesNotOpenFurtherPartitions)
{
    const QString first = hashIn(0);
    putItems({itemOf(first, "1"), itemOf(first, "2")});
    EXPECT_EQ(scan({{"Limit", 2}}), scanReply({itemOf(first, "1"), itemOf(first, "2")}, 2, bareKey(first, "2")));
    EXPECT_EQ(tableFiles(), (std::set<std::string>{"t", dataFile(0)}));
}

TEST_F(ScanTest, LimitIs128WhenNoneIsGiven)
{
    const QVariantList items = lastItems(130);
    putItems(items);
    EXPECT_EQ(scanLast(), scanReply(items.mid(0, 128), 128, bareKey(hash_, "r127")));
    EXPECT_EQ(tableFiles(), (std::set<std::string>{"t", dataFile(255)}));
}

TEST_F(ScanTest, LimitForms)
{
    putItems(lastItems(5));
    struct Case {
        QVariant limit;
        int examined;
    };
    const Case cases[] = {
        {1, 1},
        {2, 2},
        {5, 5},
        {6, 5},
        // One record is examined before the limit is checked.
        {0, 1},
        {-1, 1},
        {std::numeric_limits<qlonglong>::min(), 1},
        {std::numeric_limits<qlonglong>::max(), 5},
        {qlonglong(1) << 32, 5},
        // Other values are converted to integers.
        {"3", 3},
        {" 3 ", 3},
        {"three", 1},
        {"", 1},
        {2.4, 2},
        {2.5, 3},
        {true, 1},
        {QVariant(), 1},
        {QVariantList{3}, 1},
        {QVariantMap{{"N", "3"}}, 1},
    };
    for (const Case& c : cases) {
        const QVariantMap reply = scanLast({{"Limit", c.limit}});
        const QVariantMap lastKey = c.examined < 5 || c.limit == QVariant(5)
                                        ? bareKey(hash_, QString("r00%1").arg(c.examined - 1))
                                        : QVariantMap();
        EXPECT_EQ(reply, scanReply(lastItems(5).mid(0, c.examined), c.examined, lastKey))
            << Json::serialize(c.limit).toStdString();
    }
}

TEST_F(ScanTest, LimitOfNothingAtAStartKeyThatIsThereExaminesNothing)
{
    putItems(lastItems(3));
    EXPECT_EQ(scan({{"ExclusiveStartKey", itemKey(hash_, "r001")}, {"Limit", 0}}),
              scanReply({}, 0, bareKey(hash_, "r001")));
}

TEST_F(ScanTest, CountForms)
{
    putItems(lastItems(1));
    const QVariantList yes{true, 1, -1, 0.5, "true", "yes", "no", "x"};
    const QVariantList no{
        false, 0, 0.0, "", "false", "FALSE", "0", QVariant(), QVariantList{true}, QVariantMap{{"a", 1}}};
    for (const QVariant& count : yes)
        EXPECT_EQ(scanLast({{"Count", count}}), scanCounts(1, 1)) << Json::serialize(count).toStdString();
    for (const QVariant& count : no)
        EXPECT_EQ(scanLast({{"Count", count}}), scanReply(lastItems(1), 1)) << Json::serialize(count).toStdString();
}

TEST_F(ScanTest, AttributesToGetKeepsTheKeyAttributes)
{
    const QVariantMap stored{{"a", textValue("1")}, {"b", numberValue("2")}, {"5", textValue("five")}};
    putItems({itemOf(hash_, "r", stored)});
    struct Case {
        QVariant wanted;
        QStringList kept;
    };
    const Case cases[] = {
        {QStringList{"a"}, {"a"}},
        {QStringList{"a", "b", "b", "missing"}, {"a", "b"}},
        {QStringList{"h"}, {}},
        {QStringList{"missing"}, {}},
        {QStringList{"A"}, {}},
        {QVariantList{5}, {"5"}},
        {QVariantList{QVariant()}, {}},
        {QVariantList{textValue("a")}, {}},
        // Without names, all attributes are returned.
        {QVariantList(), {"5", "a", "b"}},
        {QVariant(), {"5", "a", "b"}},
        {7, {"5", "a", "b"}},
        {"a", {"5", "a", "b"}},
        {QVariantMap{{"a", "a"}}, {"5", "a", "b"}},
    };
    for (const Case& c : cases) {
        QVariantMap attributes;
        for (const QString& name : c.kept)
            attributes.insert(name, stored.value(name));
        EXPECT_EQ(scanLast({{"AttributesToGet", c.wanted}}), scanReply({itemOf(hash_, "r", attributes)}, 1))
            << Json::serialize(c.wanted).toStdString();
    }
    EXPECT_EQ(scanLast({{"AttributesToGet", QStringList{"a"}}, {"Count", true}}), scanCounts(1, 1));
}

TEST_F(ScanTest, FieldsOfOtherOperationsAreIgnored)
{
    putItems(lastItems(2));
    EXPECT_EQ(scanLast({{"HashKeyValue", textValue("nobody")},
                        {"ScanIndexForward", false},
                        {"RangeKeyCondition", condition("EQ", {"none"})},
                        {"ConsistentRead", true}}),
              scanReply(lastItems(2), 2));
}

TEST_F(ScanTest, LargeItemsAreAnsweredWhole)
{
    QVariantList items;
    for (int n = 0; n < 20; ++n)
        items.append(itemOf(hash_, QString("r%1").arg(n + 10), {{"v", textValue(QString(4000 + 25000 * n, 'x'))}}));
    putItems(items);
    EXPECT_TRUE(scanLast() == scanReply(items, 20));
    EXPECT_TRUE(query({{"HashKeyValue", textValue(hash_)}}) == queryReply(items));
}

} // namespace

#include "queryfixture.h"

namespace {

using testing::IsEmpty;

TEST_F(QueryTest, ReadsTheFileOfItsHashKeyOnly)
{
    EXPECT_EQ(queryQ(), queryReply({}));
    EXPECT_EQ(tableFiles(), std::set<std::string>{"t"}); // reading creates none
    putRanges({"b", "a", "c"});
    EXPECT_EQ(queryQ(), queryReply(items({"a", "b", "c"})));
    EXPECT_EQ(queryQ({{"ScanIndexForward", false}}), queryReply(items({"c", "b", "a"})));
    EXPECT_EQ(queryQ({{"Count", true}}), okReply({{"Count", 3}}));
    EXPECT_EQ(tableFiles(), (std::set<std::string>{"t", dataFile(partition_)}));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(QueryTest, LimitForms)
{
    putRanges({"0", "1", "2", "3", "4"});
    struct Case {
        QVariant limit;
        int examined;
    };
    const Case cases[] = {{1, 1},
                          {2, 2},
                          {5, 5},
                          {6, 6},
                          {0, 1},
                          {-7, 1},
                          {"2", 2},
                          {"x", 1},
                          {2.5, 3},
                          {true, 1},
                          {QVariant(), 1},
                          {QVariantList{3}, 1},
                          {QVariantMap(), 1}};
    for (const Case& c : cases) {
        const QStringList ranges = QStringList{"0", "1", "2", "3", "4"}.mid(0, c.examined);
        const QVariantMap last = c.examined < 6 ? bareKey("q", ranges.last()) : QVariantMap();
        EXPECT_EQ(queryQ({{"Limit", c.limit}}), queryReply(items(ranges), last))
            << Json::serialize(c.limit).toStdString();
    }
}

TEST_F(QueryTest, LimitIs128WhenNoneIsGiven)
{
    QStringList ranges;
    for (int n = 0; n < 129; ++n)
        ranges.append(QString::number(1000 + n));
    putRanges(ranges);
    EXPECT_EQ(queryQ(), queryReply(items(ranges.mid(0, 128)), bareKey("q", "1127")));
    EXPECT_EQ(queryQ({{"Limit", 129}}), queryReply(items(ranges), bareKey("q", "1128")));
    EXPECT_EQ(queryQ({{"Limit", 130}}), queryReply(items(ranges)));
}

TEST_F(QueryTest, DirectionForms)
{
    putRanges({"a", "b"});
    const QVariantList up{true, 1, 0.5, "true", "no", "x"};
    const QVariantList down{false, 0, "", "0", "False", QVariant(), QVariantList{true}, QVariantMap{{"a", true}}};
    for (const QVariant& forward : up)
        EXPECT_EQ(queryQ({{"ScanIndexForward", forward}}), queryReply(items({"a", "b"})))
            << Json::serialize(forward).toStdString();
    for (const QVariant& forward : down)
        EXPECT_EQ(queryQ({{"ScanIndexForward", forward}}), queryReply(items({"b", "a"})))
            << Json::serialize(forward).toStdString();
}

TEST_F(QueryTest, CountForms)
{
    putRanges({"a", "b"});
    for (const QVariant& count : QVariantList{true, 1, "true", "x"})
        EXPECT_EQ(queryQ({{"Count", count}}), okReply({{"Count", 2}})) << Json::serialize(count).toStdString();
    for (const QVariant& count : QVariantList{false, 0, "", "false", QVariant(), QVariantList{true}, QVariantMap()})
        EXPECT_EQ(queryQ({{"Count", count}}), queryReply(items({"a", "b"}))) << Json::serialize(count).toStdString();
}

TEST_F(QueryTest, AttributesToGetKeepsTheKeyAttributes)
{
    putItems({itemOf("q", "r", {{"a", textValue("1")}, {"b", textValue("2")}})});
    const QVariantMap a{{"a", textValue("1")}};
    EXPECT_EQ(queryQ({{"AttributesToGet", QStringList{"a", "missing"}}}), queryReply({itemOf("q", "r", a)}));
    EXPECT_EQ(queryQ({{"AttributesToGet", QStringList{"r"}}}), queryReply({itemOf("q", "r")}));
    EXPECT_EQ(queryQ({{"AttributesToGet", QStringList{"a"}}, {"Count", true}}), okReply({{"Count", 1}}));
    for (const QVariant& none : QVariantList{QVariant(), QVariantList(), 5, "a", QVariantMap{{"a", "a"}}})
        EXPECT_EQ(queryQ({{"AttributesToGet", none}}),
                  queryReply({itemOf("q", "r", merged(a, {{"b", textValue("2")}}))}))
            << Json::serialize(none).toStdString();
}

TEST_F(QueryTest, FieldsOfScanAreIgnored)
{
    putRanges({"a"});
    EXPECT_EQ(queryQ({{"ScanFilter", QVariantMap{{"r", condition("EQ", {})}}}}), queryReply(items({"a"})));
}

TEST_F(QueryTest, TableWithoutASchemaFailsWithZeroCounts)
{
    const QVariantMap never{{"TableName", tableName("never")}, {"HashKeyValue", textValue("q")}};
    EXPECT_EQ(request("Query", never), internalErrorReply(failed_));
    EXPECT_EQ(takeComplaints(), complaints("schema load failed rc 3"));
    EXPECT_EQ(request("Query", merged(never, {{"Count", true}})), internalErrorReply({{"Count", 0}}));
    EXPECT_EQ(takeComplaints(), complaints("schema load failed rc 3"));
    EXPECT_EQ(tableFiles("never"), std::set<std::string>{}); // reading creates none
}

TEST_F(QueryTest, EnvironmentThatIsBeingDeletedIsNotFound)
{
    const Client::WireConnection deleter = keepDeleteWaiting();
    EXPECT_TRUE(isRefused("Query", {{"TableName", tableName()}}));
}

TEST_F(QueryTest, PartitionThatCannotBeOpenedFailsWithoutCounts)
{
    ASSERT_TRUE(std::filesystem::create_directory(home() + '/' + dataFile(partition_)));
    EXPECT_EQ(queryQ(), internalErrorReply());
    const std::vector<std::string> lines = takeComplaints();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back(), composeError(12));
}

} // namespace

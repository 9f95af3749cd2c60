#include "queryfixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(QueryTest, WithoutHashKeyIsEmptySuccess)
{
    putRanges({"a"});
    EXPECT_EQ(query({}), okReply({{"Attributes", QVariantMap()}}));
    EXPECT_EQ(query({{"Count", true}, {"RangeKeyCondition", condition("BETWEEN", {})}}),
              okReply({{"Attributes", QVariantMap()}}));
    // The environment is checked, but not the table.
    EXPECT_EQ(request("Query", {{"TableName", tableName("never")}}), okReply({{"Attributes", QVariantMap()}}));
    EXPECT_EQ(tableFiles("never"), std::set<std::string>());
    EXPECT_THAT(takeComplaints(), IsEmpty());
    EXPECT_EQ(request("Query", {{"TableName", QString::fromStdString(home()) + "/missing|t"}}), notFoundReply());
}

TEST_F(QueryTest, HashKeyValueForms)
{
    putItems({itemOf("q", "r"), itemOf("5", "r"), itemOf("true", "r")});
    for (const QVariant& value : QVariantList{QVariant(), "q", 5, QVariantMap(), numberValue("5"), QVariantList{"q"},
                                              QVariantMap{{"s", "q"}}}) {
        EXPECT_EQ(query({{"HashKeyValue", value}}), internalErrorReply()) << Json::serialize(value).toStdString();
        EXPECT_EQ(takeComplaints(), complaints("wrong hash-key"));
        EXPECT_EQ(query({{"HashKeyValue", value}, {"Count", true}}), internalErrorReply());
        (void)takeComplaints();
    }
    EXPECT_EQ(query({{"HashKeyValue", textValue(QChar(0x394))}}), invalidRequestReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # key holds a character outside Latin-1"));
    // Other values are converted to strings.
    EXPECT_EQ(query({{"HashKeyValue", QVariantMap{{"S", 5}, {"N", "6"}}}}), queryReply({itemOf("5", "r")}));
    EXPECT_EQ(query({{"HashKeyValue", QVariantMap{{"S", true}}}}), queryReply({itemOf("true", "r")}));
}

TEST_F(QueryTest, StartKeyStandsInForTheHashKey)
{
    putRanges({"a", "b", "c"});
    const QVariantMap start{{"ExclusiveStartKey", itemKey("q", "a")}};
    EXPECT_EQ(query(start), queryReply(items({"b", "c"})));
    EXPECT_EQ(query(merged(start, {{"HashKeyValue", textValue("other")}})), queryReply(items({"b", "c"})));
    EXPECT_EQ(query(merged(start, {{"HashKeyValue", "of no form at all"}})), queryReply(items({"b", "c"})));
    EXPECT_EQ(tableFiles(), (std::set<std::string>{"t", dataFile(partition_)}));
}

TEST_F(QueryTest, StartKeyFailures)
{
    for (const MalformedKey& c : malformedKeys()) {
        SCOPED_TRACE(Json::serialize(c.key).toStdString());
        // A "HashKeyValue" in addition makes no difference.
        EXPECT_EQ(queryQ({{"ExclusiveStartKey", c.key}}), internalErrorReply());
        EXPECT_EQ(takeComplaints(), complaints(c.line));
    }
    EXPECT_EQ(query({{"ExclusiveStartKey", itemKey("q", QChar(0x20ac))}}), invalidRequestReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # key holds a character outside Latin-1"));
    EXPECT_EQ(tableFiles(), std::set<std::string>{"t"});
}

TEST_F(QueryTest, LastEvaluatedKeyHoldsBareStringsOnACopyOfTheStartKey)
{
    putRanges({"a", "b", "c"});
    const QVariantMap first = queryQ({{"Limit", 1}});
    EXPECT_EQ(first, queryReply(items({"a"}), bareKey("q", "a")));
    EXPECT_EQ(query({{"ExclusiveStartKey", first.value("LastEvaluatedKey")}}), internalErrorReply());
    EXPECT_EQ(takeComplaints(), complaints("wrong hash-key"));

    QVariantMap start = startBehind(first.value("LastEvaluatedKey"));
    start.insert("more", QVariantList{1, "x"});
    EXPECT_EQ(query({{"ExclusiveStartKey", start}, {"Limit", 1}}),
              queryReply(items({"b"}), merged(start, bareKey("q", "b"))));
    EXPECT_EQ(query({{"ExclusiveStartKey", start}, {"Limit", 1}, {"Count", true}}),
              okReply({{"Count", 1}, {"LastEvaluatedKey", merged(start, bareKey("q", "b"))}}));
    EXPECT_EQ(query({{"ExclusiveStartKey", start}}), queryReply(items({"b", "c"})));
}

TEST_F(QueryTest, EmptyHashKeyHasTheFirstOrTheLastPartition)
{
    // Kept: PutItem stores it in the partition of its digest, where no query looks.
    ASSERT_NE(partitionOfHash(""), 0);
    ASSERT_NE(partitionOfHash(""), 255);
    putItems({itemOf("", "r")});
    // A directory in place of a data file: a query of that partition fails.
    const auto block = [&](int partition) { std::filesystem::create_directory(home() + '/' + dataFile(partition)); };
    const QVariantMap empty{{"HashKeyValue", textValue("")}};
    EXPECT_EQ(query(empty), queryReply({}));
    block(255);
    EXPECT_EQ(query(empty), queryReply({}));
    EXPECT_EQ(query(merged(empty, {{"ScanIndexForward", false}})), internalErrorReply());
    (void)takeComplaints();
    std::filesystem::remove(home() + '/' + dataFile(255));
    block(0);
    EXPECT_EQ(query(merged(empty, {{"ScanIndexForward", false}})), queryReply({}));
    EXPECT_EQ(query(empty), internalErrorReply());
    // The direction that counts is that of the request, not of the condition.
    EXPECT_EQ(query(merged(empty, rangeCondition("LE", {"z"}))), internalErrorReply());
    EXPECT_EQ(query({{"ExclusiveStartKey", itemKey("", "a")}}), internalErrorReply());
    (void)takeComplaints();
}

TEST_F(QueryTest, KeysAreBytes)
{
    // Latin-1 characters are one byte each, compared as unsigned; a key is returned up to its first U+0000.
    const QString e = QString::fromUtf8("\xc3\xa9");
    const QString hash = "h" + e;
    const QString zero = QString("a") + QChar(0) + 'b';
    putItems({itemOf(hash, zero), itemOf(hash, e), itemOf(hash, "z"), itemOf(hash, ""), itemOf(hash + QChar(0), "1")});
    const QVariantMap asked{{"HashKeyValue", textValue(hash)}};
    EXPECT_EQ(query(asked), queryReply({itemOf(hash, ""), itemOf(hash, "a"), itemOf(hash, "z"), itemOf(hash, e)}));
    EXPECT_EQ(query(merged(asked, rangeCondition("EQ", {zero}))), queryReply({itemOf(hash, "a")}));
    EXPECT_EQ(query(merged(asked, rangeCondition("EQ", {"a"}))), queryReply({}));
    EXPECT_EQ(query(merged(asked, {{"Limit", 2}})),
              queryReply({itemOf(hash, ""), itemOf(hash, "a")}, bareKey(hash, "a")));
    EXPECT_EQ(query({{"HashKeyValue", textValue(hash + QChar(0))}, {"Limit", 1}}),
              queryReply({itemOf(hash, "1")}, bareKey(hash, "1")));
}

TEST_F(QueryTest, EmptyRangeKeyLeadsBackToTheBeginning)
{
    // Kept: an empty start range key counts as none, so a page that ends on an empty range key is returned again.
    putRanges({"", "a"});
    EXPECT_EQ(queryQ({{"Limit", 1}}), queryReply(items({""}), bareKey("q", "")));
    EXPECT_EQ(query({{"ExclusiveStartKey", itemKey("q", "")}, {"Limit", 1}}),
              queryReply(items({""}), bareKey("q", "")));
}

TEST_F(QueryTest, StartKeyThatIsGone)
{
    putRanges({"a", "c", "d"});
    const QVariantMap start{{"ExclusiveStartKey", itemKey("q", "b")}};
    EXPECT_EQ(query(start), queryReply(items({"c", "d"})));
    // Downward, the next greater key comes first.
    EXPECT_EQ(query(merged(start, {{"ScanIndexForward", false}})), queryReply(items({"c", "a"})));
}

} // namespace

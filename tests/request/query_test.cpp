#include "scanqueryfixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class QueryTest : public ScanQueryTest {
protected:
    static QVariantMap item(const QString& range) { return itemOf("q", range, {{"v", textValue("of " + range)}}); }
    static QVariantList items(const QStringList& ranges)
    {
        QVariantList list;
        for (const QString& range : ranges)
            list.append(item(range));
        return list;
    }

    void putRanges(const QStringList& ranges) { putItems(items(ranges)); }

    /** A query of the hash key "q". */
    QVariantMap queryQ(const QVariantMap& fields = {})
    {
        return query(merged({{"HashKeyValue", textValue("q")}}, fields));
    }

    static QVariantMap rangeCondition(const QString& name, const QStringList& values)
    {
        return {{"RangeKeyCondition", condition(name, values)}};
    }

    const int partition_ = partitionOfHash("q");
    const QVariantMap failed_{{"Count", 0}, {"Items", QVariantList()}};
};

TEST_F(QueryTest, ReadsTheFileOfItsHashKeyOnly)
{
    EXPECT_EQ(queryQ(), queryReply({}));
    EXPECT_EQ(tableFiles(), (std::set<std::string>{"t", dataFile(partition_)}));
    putRanges({"b", "a", "c"});
    EXPECT_EQ(queryQ(), queryReply(items({"a", "b", "c"})));
    EXPECT_EQ(queryQ({{"ScanIndexForward", false}}), queryReply(items({"c", "b", "a"})));
    EXPECT_EQ(queryQ({{"Count", true}}), okReply({{"Count", 3}}));
    EXPECT_EQ(tableFiles(), (std::set<std::string>{"t", dataFile(partition_)}));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(QueryTest, WithoutHashKeyIsEmptySuccess)
{
    putRanges({"a"});
    EXPECT_EQ(query({}), okReply({{"Attributes", QVariantMap()}}));
    EXPECT_EQ(query({{"Count", true}, {"RangeKeyCondition", condition("BETWEEN", {})}}),
              okReply({{"Attributes", QVariantMap()}}));
    // The table is not looked at, its environment is.
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
    // What is no string is read as one.
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
        // A hash key value beside it does not help.
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
    // Kept so: PutItem stores it in the partition of its digest, where no query looks.
    ASSERT_NE(partitionOfHash(""), 0);
    ASSERT_NE(partitionOfHash(""), 255);
    putItems({itemOf("", "r")});
    const QVariantMap empty{{"HashKeyValue", textValue("")}};
    EXPECT_EQ(query(empty), queryReply({}));
    EXPECT_EQ(tableFiles(), (std::set<std::string>{"t", dataFile(partitionOfHash("")), dataFile(0)}));
    EXPECT_EQ(query(merged(empty, {{"ScanIndexForward", false}})), queryReply({}));
    EXPECT_EQ(tableFiles(), (std::set<std::string>{"t", dataFile(partitionOfHash("")), dataFile(0), dataFile(255)}));
    // The direction that counts is the request's own, not the one of the condition.
    EXPECT_EQ(query(merged(empty, rangeCondition("LE", {"z"}))), queryReply({}));
    EXPECT_EQ(query({{"ExclusiveStartKey", itemKey("", "a")}}), queryReply({}));
    EXPECT_EQ(tableFiles().size(), 4U);
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

TEST_F(QueryTest, EveryOperator)
{
    const QString e = QString::fromUtf8("\xc3\xa9");
    putRanges({"a", "ab", "abc", "b", "c", e});
    putItems({itemOf("p", "b"), itemOf("qq", "b")});
    struct Case {
        QVariantMap condition;
        QStringList ranges;
    };
    const Case cases[] = {
        {rangeCondition("EQ", {"ab"}), {"ab"}},
        {rangeCondition("EQ", {"aa"}), {}},
        {rangeCondition("LE", {"b"}), {"b", "abc", "ab", "a"}},
        {rangeCondition("LT", {"b"}), {"abc", "ab", "a"}},
        {rangeCondition("LE", {"bb"}), {"b", "abc", "ab", "a"}},
        {rangeCondition("LT", {"a"}), {}},
        {rangeCondition("LE", {e + e}), {e, "c", "b", "abc", "ab", "a"}},
        {rangeCondition("GE", {"b"}), {"b", "c", e}},
        {rangeCondition("GT", {"b"}), {"c", e}},
        {rangeCondition("GT", {e}), {}},
        {rangeCondition("BEGINS_WITH", {"ab"}), {"ab", "abc"}},
        {rangeCondition("BEGINS_WITH", {"aa"}), {}},
        {rangeCondition("BEGINS_WITH", {""}), {"a", "ab", "abc", "b", "c", e}},
        {rangeCondition("BETWEEN", {"ab", "b"}), {"ab", "abc", "b"}},
        {rangeCondition("BETWEEN", {"aa", "bb"}), {"ab", "abc", "b"}},
        {rangeCondition("BETWEEN", {"c", "a"}), {}},
    };
    for (const Case& c : cases) {
        for (const bool forward : {true, false}) { // the operator alone decides where the walk goes
            const QVariantMap fields = merged(c.condition, {{"ScanIndexForward", forward}});
            EXPECT_EQ(queryQ(fields), queryReply(items(c.ranges))) << Json::serialize(fields).toStdString();
            EXPECT_EQ(queryQ(merged(fields, {{"Count", true}})), okReply({{"Count", c.ranges.size()}}));
        }
    }
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(QueryTest, UnknownOperatorMatchesFromItsValueOn)
{
    putRanges({"a", "b", "c"});
    EXPECT_EQ(queryQ(rangeCondition("NE", {"b"})), queryReply(items({"b", "c"})));
    EXPECT_EQ(queryQ(merged(rangeCondition("NE", {"b"}), {{"ScanIndexForward", false}})),
              queryReply(items({"b", "a"})));
    EXPECT_EQ(queryQ(rangeCondition("CONTAINS", {""})), queryReply(items({"a", "b", "c"})));
}

TEST_F(QueryTest, ConditionsWithoutAnOperatorAreNone)
{
    putRanges({"a", "b"});
    for (const QVariant& none : QVariantList{QVariantMap(), QVariant(), "EQ", 5, QVariantList{condition("EQ", {"b"})},
                                             QVariantMap{{"AttributeValueList", QVariantList{textValue("b")}}}})
        EXPECT_EQ(queryQ({{"RangeKeyCondition", none}}), queryReply(items({"a", "b"})))
            << Json::serialize(none).toStdString();
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(QueryTest, MalformedConditionsFailWithZeroCounts)
{
    putRanges({"a"});
    struct Case {
        QVariantMap condition;
        std::string line;
    };
    QVariantMap number = condition("EQ", {"x"});
    number.insert("AttributeValueList", QVariantList{numberValue("5")});
    const Case cases[] = {
        {{{"ComparisonOperator", "EQ"}}, "attr value list missing"},
        {condition("EQ", {"a", "b"}), "incomplete value list count 2"},
        {condition("BETWEEN", {"a", "b", "c"}), "incomplete value list count 3"},
        {condition("NULL", {}), "incomplete value list count 0"},
        {number, "wrong key"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        EXPECT_EQ(queryQ({{"RangeKeyCondition", c.condition}}), internalErrorReply(failed_));
        EXPECT_EQ(takeComplaints(), complaints(c.line));
        EXPECT_EQ(queryQ({{"RangeKeyCondition", c.condition}, {"Count", true}}), internalErrorReply({{"Count", 0}}));
        EXPECT_EQ(takeComplaints(), complaints(c.line));
    }
    EXPECT_EQ(queryQ(rangeCondition("EQ", {QChar(0x100)})), invalidRequestReply(failed_));
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # key holds a character outside Latin-1"));
}

TEST_F(QueryTest, TableWithoutASchemaFailsWithZeroCounts)
{
    const QVariantMap never{{"TableName", tableName("never")}, {"HashKeyValue", textValue("q")}};
    EXPECT_EQ(request("Query", never), internalErrorReply(failed_));
    EXPECT_EQ(takeComplaints(), complaints("schema load failed rc 3"));
    EXPECT_EQ(request("Query", merged(never, {{"Count", true}})), internalErrorReply({{"Count", 0}}));
    EXPECT_EQ(takeComplaints(), complaints("schema load failed rc 3"));
    EXPECT_EQ(tableFiles("never"), std::set<std::string>{"never"});
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

TEST_F(QueryTest, KeysAreBytes)
{
    // Latin-1 characters are one byte each and order as unsigned ones; a key is shown up to its first U+0000.
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
    // Kept so: an empty start range is no start, so a page that ends on an empty range key is answered again.
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
    // Downward the next greater key comes first.
    EXPECT_EQ(query(merged(start, {{"ScanIndexForward", false}})), queryReply(items({"c", "a"})));
}

TEST_F(QueryTest, StartRangeReplacesTheBoundOfTheCondition)
{
    putRanges({"a", "ab", "abc", "b"});
    const QVariantMap start{{"ExclusiveStartKey", itemKey("q", "ab")}};
    EXPECT_EQ(query(merged(start, rangeCondition("BEGINS_WITH", {"a"}))), queryReply(items({"abc"})));
    EXPECT_EQ(query(merged(start, rangeCondition("EQ", {"b"}))), queryReply({}));
    EXPECT_EQ(query(merged(start, rangeCondition("GT", {"b"}))), queryReply(items({"abc", "b"})));
    EXPECT_EQ(query(merged(start, rangeCondition("LT", {"a"}))), queryReply(items({"a"})));
    EXPECT_EQ(query(merged(start, rangeCondition("BETWEEN", {"b", "b"}))), queryReply(items({"abc", "b"})));
}

} // namespace

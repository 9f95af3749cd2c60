#include "queryfixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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
        for (const bool forward : {true, false}) { // the operator alone determines the direction
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
    for (const MalformedCondition& c : malformedConditions()) {
        SCOPED_TRACE(c.line);
        EXPECT_EQ(queryQ({{"RangeKeyCondition", c.condition}}), internalErrorReply(failed_));
        EXPECT_EQ(takeComplaints(), complaints(c.line));
        EXPECT_EQ(queryQ({{"RangeKeyCondition", c.condition}, {"Count", true}}), internalErrorReply({{"Count", 0}}));
        EXPECT_EQ(takeComplaints(), complaints(c.line));
    }
    EXPECT_EQ(queryQ(rangeCondition("EQ", {QChar(0x100)})), invalidRequestReply(failed_));
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # key holds a character outside Latin-1"));
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

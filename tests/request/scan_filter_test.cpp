#include "scanfixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(ScanTest, FilterOnKeyNames)
{
    const QVariantList items = lastItems(6, {{"v", textValue("r001")}});
    putItems(items);
    struct Case {
        QVariantMap filter;
        QList<int> matches;
    };
    const QVariantMap all{{"h", condition("EQ", {hash_})}};
    const Case cases[] = {
        {{}, {0, 1, 2, 3, 4, 5}},
        {all, {0, 1, 2, 3, 4, 5}},
        {{{"h", condition("EQ", {"other"})}}, {}},
        {{{"h", condition("BEGINS_WITH", {"k"})}}, {0, 1, 2, 3, 4, 5}},
        {{{"r", condition("EQ", {"r003"})}}, {3}},
        {{{"r", condition("LE", {"r003"})}}, {0, 1, 2, 3}},
        {{{"r", condition("LT", {"r003"})}}, {0, 1, 2}},
        {{{"r", condition("GE", {"r003"})}}, {3, 4, 5}},
        {{{"r", condition("GT", {"r003"})}}, {4, 5}},
        {{{"r", condition("BEGINS_WITH", {"r00"})}}, {0, 1, 2, 3, 4, 5}},
        {{{"r", condition("BEGINS_WITH", {"r004"})}}, {4}},
        {{{"r", condition("BETWEEN", {"r001", "r003"})}}, {1, 2, 3}},
        {{{"r", condition("BETWEEN", {"r003", "r001"})}}, {}},
        {merged(all, {{"r", condition("GT", {"r004"})}}), {5}},
        {{{"h", condition("LT", {hash_})}, {"r", condition("GT", {"r004"})}}, {}},
        // Unknown operators match everything, whatever their values.
        {{{"r", condition("NE", {"r003"})}}, {0, 1, 2, 3, 4, 5}},
        {{{"r", condition("IN", {"r003"})}}, {0, 1, 2, 3, 4, 5}},
        {{{"h", condition("CONTAINS", {"zzz"})}}, {0, 1, 2, 3, 4, 5}},
        // Conditions on other attributes are never evaluated, well-formed or not.
        {{{"v", condition("EQ", {"r002"})}}, {0, 1, 2, 3, 4, 5}},
        {{{"w", condition("EQ", {"r002"})}, {"x", 5}, {"v", QVariantMap{{"ComparisonOperator", "EQ"}}}},
         {0, 1, 2, 3, 4, 5}},
        // Without an operator there is no condition.
        {{{"r", QVariantMap{{"AttributeValueList", QVariantList{textValue("r003")}}}}}, {0, 1, 2, 3, 4, 5}},
        {{{"r", QVariantMap()}, {"h", "EQ"}}, {0, 1, 2, 3, 4, 5}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(Json::serialize(c.filter).toStdString());
        QVariantList matching;
        for (const int n : c.matches)
            matching.append(items.at(n));
        EXPECT_EQ(scanLast({{"ScanFilter", c.filter}}), scanReply(matching, 6));
        EXPECT_EQ(scanLast({{"ScanFilter", c.filter}, {"Count", true}}),
                  scanCounts(static_cast<int>(c.matches.size()), 6));
    }
    EXPECT_THAT(takeComplaints(), IsEmpty());
    for (const QVariant& filter : QVariantList{QVariant(), "r", 5, QVariantList{all}})
        EXPECT_EQ(scanLast({{"ScanFilter", filter}}), scanReply(items, 6)) << Json::serialize(filter).toStdString();
}

TEST_F(ScanTest, LimitCountsExaminedItemsAndTheLastKeyNeedNotMatch)
{
    const QVariantList items = lastItems(4);
    putItems(items);
    const QVariantMap filter{{"ScanFilter", QVariantMap{{"r", condition("EQ", {"r002"})}}}};
    EXPECT_EQ(scanLast(merged(filter, {{"Limit", 1}})), scanReply({}, 1, bareKey(hash_, "r000")));
    EXPECT_EQ(scanLast(merged(filter, {{"Limit", 3}})), scanReply({items.at(2)}, 3, bareKey(hash_, "r002")));
    EXPECT_EQ(scanLast(merged(filter, {{"Limit", 9}})), scanReply({items.at(2)}, 4));
}

TEST_F(ScanTest, MalformedFiltersFailWithZeroCounts)
{
    putItems(lastItems(2));
    const QVariantMap zero{{"Count", 0}, {"ScannedCount", 0}};
    for (const MalformedCondition& c : malformedConditions()) {
        for (const char* name : {"h", "r"}) {
            SCOPED_TRACE(c.line + ' ' + name);
            const QVariantMap filter{{"ScanFilter", QVariantMap{{name, c.condition}}}};
            EXPECT_EQ(scanLast(filter), internalErrorReply(merged(zero, {{"Items", QVariantList()}})));
            EXPECT_EQ(takeComplaints(), complaints(c.line));
            EXPECT_EQ(scanLast(merged(filter, {{"Count", true}})), internalErrorReply(zero));
            EXPECT_EQ(takeComplaints(), complaints(c.line));
        }
    }
    EXPECT_EQ(scanLast({{"ScanFilter", QVariantMap{{"r", condition("EQ", {QChar(0x394)})}}}}),
              invalidRequestReply(merged(zero, {{"Items", QVariantList()}})));
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # key holds a character outside Latin-1"));
}

TEST_F(ScanTest, KeyNamesComeFromTheSchema)
{
    createTable(tableName(), keySchema("from", "until"));
    const QVariantMap item{{"from", textValue(hash_)}, {"until", textValue("z")}, {"h", textValue("1")}};
    putItems({item});
    EXPECT_EQ(scanLast({{"AttributesToGet", QStringList{"x"}}}),
              scanReply({QVariantMap{{"from", textValue(hash_)}, {"until", textValue("z")}}}, 1));
    EXPECT_EQ(scanLast({{"ScanFilter", QVariantMap{{"h", condition("EQ", {"2"})}}}}), scanReply({item}, 1));
    EXPECT_EQ(scanLast({{"ScanFilter", QVariantMap{{"until", condition("EQ", {"2"})}}}}), scanReply({}, 1));
}

} // namespace

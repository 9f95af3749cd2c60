#include "scanwalkfixture.h"

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(ScanDbTest, RecordThatDoesNotMatchIsScannedAndCanBeTheLast)
{
    putAll({{"a", "1"}, {"a", "2"}});
    Scanned progress = withLimit(1);
    EXPECT_EQ(scan({}, {{"when", condition("EQ", {"2"})}}, &progress), 0);
    EXPECT_EQ(progress, (Scanned{0, 0, 1, {}, terminated("a"), terminated("1")}));
}

TEST_F(ScanDbTest, EveryOperatorOnEitherKey)
{
    putAll(Sample);
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
                             {"w", QVariantMap{{"ComparisonOperator", "EQ"}}}, // not even examined
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

} // namespace

#include "querywalkfixture.h"

#include <optional>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(QueryDbTest, WithoutAConditionGivesTheWholeHashKey)
{
    putRanges("m", Ranges);
    putAll(Before + Behind);
    LogCapture log;
    expectRanges({"m", "", 100, true, nullptr}, Ranges, std::nullopt);
    QList<Bytes> reversed = Ranges;
    std::reverse(reversed.begin(), reversed.end());
    expectRanges({"m", "", 100, false, nullptr}, reversed, std::nullopt);
    const QVariantMap empty;
    expectRanges({"m", "", 100, true, &empty}, Ranges, std::nullopt);
    EXPECT_THAT(recordLines(log), IsEmpty());
}

TEST_F(QueryDbTest, CountsWithoutItemsWhenNoneAreWanted)
{
    putRanges("m", Ranges);
    Queried result;
    EXPECT_EQ(query({"m", "", 3, true, nullptr}, &result, false), 0);
    EXPECT_EQ(result, (Queried{3, {}, terminated("ab")}));
}

TEST_F(QueryDbTest, ReplacesWhatTheResultHeld)
{
    putRanges("m", {"a"});
    Queried result{7, {"x"}, "y"};
    EXPECT_EQ(query({"m", "", 3, true, nullptr}, &result), 0);
    EXPECT_EQ(result, (Queried{1, itemsAt({"a"}), {}}));
    EXPECT_EQ(query({"nobody", "", 3, true, nullptr}, &result), 0);
    EXPECT_EQ(result, Queried());
}

TEST_F(QueryDbTest, OtherHashKeysAreNotMet)
{
    // Neighbours by length, by prefix, and by digits that extend the length.
    putAll({{"a", "1"}, {"a", "a1"}, {"aa", "1"}, {"a1", "1"}, {"aaa", "1"}, {"", "a"}, {"0001a", "1"}, {"b", "1"}});
    for (const bool forward : {true, false}) {
        for (const auto& [hash, ranges] : {std::pair<Bytes, QList<Bytes>>{"a", {"1", "a1"}},
                                           {"aa", {"1"}},
                                           {"a1", {"1"}},
                                           {"", {"a"}},
                                           {"0001a", {"1"}},
                                           {"aaa", {"1"}},
                                           {"aaaa", {}},
                                           {"A", {}},
                                           {"c", {}}}) {
            Queried result;
            EXPECT_EQ(query({hash, "", 9, forward, nullptr}, &result), 0);
            QList<Keys> keys;
            for (const Bytes& range : ranges)
                keys.append({hash, range});
            if (!forward)
                std::reverse(keys.begin(), keys.end());
            EXPECT_EQ(result, (Queried{static_cast<int>(keys.size()), itemsOf(keys), {}})) << hash.toStdString();
        }
    }
}

TEST_F(QueryDbTest, EqSeeksAndEndsOnTheFirstOtherKey)
{
    putRanges("m", {"a", "b", "c"});
    const QVariantMap b = condition("EQ", {"b"});
    expectRanges({"m", "", 2, true, &b}, {"b"}, std::nullopt); // "c" was examined and ended the walk
    expectRanges({"m", "", 2, false, &b}, {"b"}, std::nullopt);
    expectRanges({"m", "", 1, true, &b}, {"b"}, Bytes("b")); // the limit came first
    const QVariantMap bb = condition("EQ", {"bb"});
    expectRanges({"m", "", 1, true, &bb}, {}, std::nullopt);
}

TEST_F(QueryDbTest, BeginsWithEndsAtTheFirstKeyWithoutThePrefix)
{
    putRanges("m", {"a", "ab", "abc", "b"});
    const QVariantMap begins = condition("BEGINS_WITH", {"ab"});
    for (const bool forward : {true, false})
        expectRanges({"m", "", 9, forward, &begins}, {"ab", "abc"}, std::nullopt);
    expectRanges({"m", "", 2, true, &begins}, {"ab", "abc"}, Bytes("abc"));
    expectRanges({"m", "", 3, true, &begins}, {"ab", "abc"}, std::nullopt);
}

TEST_F(QueryDbTest, BetweenEndsAfterItsUpperBound)
{
    putRanges("m", {"a", "b", "c", "d", "e"});
    const QVariantMap between = condition("BETWEEN", {"b", "d"});
    for (const bool forward : {true, false})
        expectRanges({"m", "", 9, forward, &between}, {"b", "c", "d"}, std::nullopt);
    const QVariantMap inverted = condition("BETWEEN", {"d", "b"});
    expectRanges({"m", "", 9, true, &inverted}, {}, std::nullopt);
}

TEST_F(QueryDbTest, UnknownOperatorMatchesTheWholeHashKey)
{
    putRanges("m", {"a", "b", "c"});
    // The walk still begins at the value; the direction is that of the request.
    const QVariantMap unknown = condition("NE", {"b"});
    expectRanges({"m", "", 9, true, &unknown}, {"b", "c"}, std::nullopt);
    expectRanges({"m", "", 9, false, &unknown}, {"b", "a"}, std::nullopt);
    const QVariantMap all = condition("CONTAINS", {""});
    expectRanges({"m", "", 9, true, &all}, {"a", "b", "c"}, std::nullopt);
}

TEST_F(QueryDbTest, MalformedConditionReadsNothing)
{
    putRanges("m", {"a"});
    const QVariantMap between = condition("BETWEEN", {"a", "b", "c"});
    const QVariantMap number = json(R"({"ComparisonOperator":"EQ","AttributeValueList":[{"N":"5"}]})");
    const QVariantMap foreign = json(R"({"ComparisonOperator":"EQ","AttributeValueList":[{"S":"\u0394"}]})");
    const Queried before{7, {"x"}, "y"};
    for (const auto& [c, rc, line] :
         {std::tuple(&between, 2, "[ERROR] bdbrequest # incomplete value list count 3"),
          std::tuple(&number, 2, "[ERROR] bdbrequest # wrong key"),
          std::tuple(&foreign, 4, "[ERROR] bdbrequest # key holds a character outside Latin-1")}) {
        LogCapture log;
        Queried result = before;
        EXPECT_EQ(query({"m", "", 9, true, c}, &result), rc);
        EXPECT_EQ(result, before);
        EXPECT_THAT(recordLines(log), ElementsAre(line));
    }
}

TEST_F(QueryDbTest, HashKeyOfFiveDigitsIsFound)
{
    const Bytes hash(10000, 'h');
    rawPut(db(), Records::recordKey(hash, "r"), "{}");
    rawPut(db(), Records::recordKey(hash, "s"), "{}");
    for (const bool forward : {true, false}) {
        Queried result;
        EXPECT_EQ(query({hash, "", 9, forward, nullptr}, &result), 0);
        EXPECT_EQ(result.count, 2);
        EXPECT_EQ(result.items.first().toMap(),
                  (QVariantMap{{"id", QVariantMap{{"S", QString(hash)}}},
                               {"when", QVariantMap{{"S", QString(forward ? "r" : "s")}}}}));
    }
}

} // namespace

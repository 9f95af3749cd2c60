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

TEST_F(QueryDbTest, UpperBoundsWalkDownward)
{
    putRanges("m", {"a", "b", "c", "d"});
    const QVariantMap le = condition("LE", {"c"});
    const QVariantMap lt = condition("LT", {"c"});
    for (const bool forward : {true, false}) {
        expectRanges({"m", "", 9, forward, &le}, {"c", "b", "a"}, std::nullopt);
        expectRanges({"m", "", 2, forward, &le}, {"c", "b"}, Bytes("b"));
        expectRanges({"m", "", 9, forward, &lt}, {"b", "a"}, std::nullopt);
        expectRanges({"m", "", 1, forward, &lt}, {}, Bytes("c")); // the bound itself was examined
    }
}

TEST_F(QueryDbTest, DownwardSeekExaminesTheNextGreaterKeyFirst)
{
    putRanges("m", {"a", "b", "d"});
    const QVariantMap le = condition("LE", {"c"});
    expectRanges({"m", "", 9, true, &le}, {"b", "a"}, std::nullopt);
    expectRanges({"m", "", 1, true, &le}, {}, Bytes("d"));
    expectRanges({"m", "", 2, true, &le}, {"b"}, Bytes("b"));
}

TEST_F(QueryDbTest, DownwardSeekBehindTheLastRecordOfTheFileStepsBack)
{
    putRanges("m", {"a", "b"});
    expectRanges({"m", "", 9, false, nullptr}, {"b", "a"}, std::nullopt);
    const QVariantMap le = condition("LE", {"z"});
    expectRanges({"m", "", 9, false, &le}, {"b", "a"}, std::nullopt);
    expectRanges({"m", "z", 9, false, nullptr}, {"b", "a"}, std::nullopt);
}

TEST_F(QueryDbTest, DownwardSeekBehindTheHashKeyStepsBackOnce)
{
    putAll({{"n", "a"}});
    putRanges("m", {"a", "b"});
    expectRanges({"m", "", 9, false, nullptr}, {"b", "a"}, std::nullopt);

    // One step back leads to another hash key: this one has no records.
    putAll({{"k", "a"}});
    Queried result;
    EXPECT_EQ(query({"l", "", 9, false, nullptr}, &result), 0);
    EXPECT_EQ(result, Queried());
}

TEST_F(QueryDbTest, UpwardSeekBehindTheHashKeyFindsNothing)
{
    putRanges("m", {"a", "b"});
    const QVariantMap ge = condition("GE", {"c"});
    expectRanges({"m", "", 9, true, &ge}, {}, std::nullopt);
    putAll({{"n", "a"}});
    expectRanges({"m", "", 9, true, &ge}, {}, std::nullopt);
}

TEST_F(QueryDbTest, DownwardWalkBeginsAtTheByteFf)
{
    // The seek of a downward walk without a bound: keys that extend that byte sort after it.
    putRanges("m", {"a", "\xfe\xff", "\xff", "\xff\x01", "\xff\xff"});
    expectRanges({"m", "", 9, false, nullptr}, {"\xff", "\xfe\xff", "a"}, std::nullopt);
    remove({"m", "\xff"});
    expectRanges({"m", "", 9, false, nullptr}, {"\xff\x01", "\xfe\xff", "a"}, std::nullopt);

    // An empty bound is replaced by that byte as well, for comparisons, too.
    const QVariantMap le = condition("LE", {""});
    expectRanges({"m", "", 9, true, &le}, {"\xfe\xff", "a"}, std::nullopt);
    const QVariantMap lt = condition("LT", {""});
    expectRanges({"m", "", 9, true, &lt}, {"\xfe\xff", "a"}, std::nullopt);
    const QVariantMap unknown = condition("NE", {""});
    expectRanges({"m", "", 9, false, &unknown}, {"\xff\x01", "\xfe\xff", "a"}, std::nullopt);
}

TEST_F(QueryDbTest, ExclusiveStartIsSkippedWithoutBeingCounted)
{
    putRanges("m", {"a", "b", "c"});
    expectRanges({"m", "a", 1, true, nullptr}, {"b"}, Bytes("b"));
    expectRanges({"m", "c", 1, false, nullptr}, {"b"}, Bytes("b"));
    expectRanges({"m", "c", 1, true, nullptr}, {}, std::nullopt);
    expectRanges({"m", "a", 1, false, nullptr}, {}, std::nullopt);
    expectRanges({"m", "a", 0, true, nullptr}, {"b"}, Bytes("b")); // the limit is checked only after a counted record
}

TEST_F(QueryDbTest, VanishedStartIsNotSkippedOver)
{
    putRanges("m", {"a", "c", "d"});
    expectRanges({"m", "b", 1, true, nullptr}, {"c"}, Bytes("c"));
    // Downward, the next greater key is examined first, and then the walk includes the start.
    expectRanges({"m", "b", 9, false, nullptr}, {"c", "a"}, std::nullopt);
    expectRanges({"m", "b", 1, false, nullptr}, {"c"}, Bytes("c"));
}

TEST_F(QueryDbTest, StartRangeReplacesLow)
{
    putRanges("m", {"a", "ab", "abc", "abd", "b", "c"});
    const QVariantMap begins = condition("BEGINS_WITH", {"a"});
    expectRanges({"m", "", 2, true, &begins}, {"a", "ab"}, Bytes("ab"));
    expectRanges({"m", "ab", 9, true, &begins}, {"abc", "abd"}, std::nullopt); // everything that begins with "ab"
    expectRanges({"m", "abc", 9, true, &begins}, {}, std::nullopt);            // "abd" does not begin with "abc"

    const QVariantMap eq = condition("EQ", {"b"});
    expectRanges({"m", "aa", 9, true, &eq}, {}, std::nullopt); // the first key examined is not "aa"
    const QVariantMap gt = condition("GT", {"b"});
    expectRanges({"m", "a", 9, true, &gt}, {"ab", "abc", "abd", "b", "c"}, std::nullopt);
    const QVariantMap lt = condition("LT", {"ab"});
    expectRanges({"m", "b", 9, true, &lt}, {"abd", "abc", "ab", "a"}, std::nullopt);
    const QVariantMap between = condition("BETWEEN", {"b", "c"});
    expectRanges({"m", "abc", 9, true, &between}, {"abd", "b", "c"}, std::nullopt); // the upper bound remains
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

TEST_F(QueryDbTest, BetweenEndsBehindItsUpperBound)
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

TEST_F(QueryDbTest, EmptyStartRangeIsNoStart)
{
    putRanges("m", {"", "a"});
    expectRanges({"m", "", 1, true, nullptr}, {""}, Bytes(""));
    expectRanges({"m", "", 9, true, nullptr}, {"", "a"}, std::nullopt);
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

#include "walkfixture.h"

#include <optional>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/** The range keys of the hash key "m" that most tests walk over, in key order. */
const QList<Bytes> Ranges{"", "a", "ab", "abd", "b", "bb", "\xe9", "\xff"};

/** Records of other hash keys that lie right in front of and right behind those of "m". */
const QList<Keys> Before{{"", "m"}, {"0", "0"}, {"l", "\xff\xff"}};
const QList<Keys> Behind{{"n", ""}, {"mm", "a"}, {"maa", "b"}};

class QueryDbTest : public WalkTest {
protected:
    void putRanges(const Bytes& hash, const QList<Bytes>& ranges)
    {
        for (const Bytes& range : ranges)
            put({hash, range});
    }

    QVariantList itemsAt(const QList<Bytes>& ranges) const
    {
        QVariantList items;
        for (const Bytes& range : ranges)
            items.append(itemOf({"m", range}));
        return items;
    }

    /** What a query of the hash key "m" has to answer, told by the positions in its sorted range keys. */
    Queried expected(const QList<Bytes>& ranges, const QueryRange& asked, bool wantItems) const
    {
        const QVariantMap condition = asked.condition != nullptr ? *asked.condition : QVariantMap();
        const QString name = condition.value("ComparisonOperator").toString();
        bool forward = asked.forward;
        if (QStringList{"EQ", "GE", "GT", "BEGINS_WITH", "BETWEEN"}.contains(name))
            forward = true;
        else if (QStringList{"LE", "LT"}.contains(name))
            forward = false;
        Bytes low = lowOf(condition);
        if (!asked.startRange.isEmpty())
            low = asked.startRange;
        else if (!forward && low.isEmpty())
            low = "\xff";

        qsizetype at = std::count_if(ranges.begin(), ranges.end(), [&](const Bytes& r) { return r < low; });
        const qsizetype step = forward ? 1 : -1;
        if (at == ranges.size())
            at += forward ? 0 : -1;
        else if (!asked.startRange.isEmpty() && ranges.at(at) == asked.startRange)
            at += step;

        Queried result;
        for (int limit = asked.limit; at >= 0 && at < ranges.size(); at += step) {
            bool stop = false;
            if (matches(condition, ranges.at(at), low, &stop)) {
                ++result.count;
                if (wantItems)
                    result.items.append(itemOf({"m", ranges.at(at)}));
            }
            if (stop)
                break;
            if (--limit <= 0) {
                result.lastRange = terminated(ranges.at(at));
                break;
            }
        }
        return result;
    }

    /** Asks and compares with `expected`, with and without items. */
    void expectAnswer(const QList<Bytes>& ranges, const QueryRange& asked)
    {
        for (const bool wantItems : {true, false}) {
            Queried result;
            const int rc = query(asked, &result, wantItems);
            const Queried want = expected(ranges, asked, wantItems);
            if (rc == 0 && result == want)
                continue;
            ADD_FAILURE() << "start " << testing::PrintToString(asked.startRange) << " limit " << asked.limit
                          << (asked.forward ? " forward " : " backward ")
                          << (asked.condition ? testing::PrintToString(*asked.condition) : "-") << "\nrc " << rc
                          << " answer " << testing::PrintToString(result) << "\nexpected "
                          << testing::PrintToString(want);
        }
    }

    /** The range keys, most of them by one query without an end, of an explicit case. */
    void expectRanges(const QueryRange& asked, const QList<Bytes>& ranges, const std::optional<Bytes>& last)
    {
        Queried result;
        EXPECT_EQ(query(asked, &result), 0);
        EXPECT_EQ(result,
                  (Queried{static_cast<int>(ranges.size()), itemsAt(ranges), last ? terminated(*last) : Bytes()}));
    }
};

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

/** Wherever the records of the hash key lie in their file: alone, first, last, or between others. */
class QueryDbPlaceTest : public QueryDbTest, public testing::WithParamInterface<int> {
protected:
    void putNeighbours()
    {
        if (GetParam() & 1)
            putAll(Before);
        if (GetParam() & 2)
            putAll(Behind);
    }
};

INSTANTIATE_TEST_SUITE_P(Places, QueryDbPlaceTest, testing::Range(0, 4), [](const auto& place) {
    return std::string(std::array{"Alone", "Last", "First", "Between"}[static_cast<std::size_t>(place.param)]);
});

TEST_P(QueryDbPlaceTest, EveryOperatorDirectionLimitAndStartKey)
{
    putNeighbours();
    putRanges("m", Ranges);
    const QList<Bytes> starts = QList<Bytes>{"0", "aa", "abc", "abda", "c", "\xf0", "\xff\xff"} + Ranges;
    QList<QVariantMap> conditions;
    for (const Bytes value : {"", "0", "a", "ab", "abc", "b", "\xe9", "\xff", "\xff\xff"}) {
        for (const char* name : {"EQ", "LE", "LT", "GE", "GT", "BEGINS_WITH", "NE"})
            conditions.append(condition(name, {value}));
        conditions.append(condition("BETWEEN", {value, "b"}));
        conditions.append(condition("BETWEEN", {"ab", value}));
    }
    for (const bool forward : {true, false}) {
        for (const int limit : {-1, 0, 1, 3, 100}) {
            for (const Bytes& start : starts) {
                expectAnswer(Ranges, {"m", start, limit, forward, nullptr});
                for (const QVariantMap& c : conditions)
                    expectAnswer(Ranges, {"m", start, limit, forward, &c});
            }
        }
    }
}

TEST_P(QueryDbPlaceTest, HashKeyWithoutRecords)
{
    putNeighbours();
    const QList<QVariantMap> conditions{condition("EQ", {"a"}), condition("LE", {"b"}), condition("GE", {""}),
                                        condition("BETWEEN", {"a", "b"}), condition("NE", {"a"})};
    for (const bool forward : {true, false}) {
        for (const Bytes start : {"", "b"}) {
            expectAnswer({}, {"m", start, 5, forward, nullptr});
            for (const QVariantMap& c : conditions)
                expectAnswer({}, {"m", start, 5, forward, &c});
        }
    }
}

TEST_P(QueryDbPlaceTest, EveryPageSizeGivesEachRecordOnce)
{
    putNeighbours();
    const QList<Bytes> ranges = Ranges.mid(1); // without the empty range key, from which no query can go on
    putRanges("m", ranges);
    struct Case {
        QVariantMap condition; // all of them match everything
        bool upwardIfForward;
        bool upwardIfNot;
    };
    const Case cases[] = {
        {{}, true, false},
        {condition("GE", {"a"}), true, true},
        {condition("GT", {""}), true, true},
        {condition("BETWEEN", {"a", "\xff"}), true, true},
        {condition("LE", {"\xff"}), false, false},
        {condition("NE", {""}), true, false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.condition));
        for (const bool forward : {true, false}) {
            const bool upward = forward ? c.upwardIfForward : c.upwardIfNot;
            QList<Bytes> ordered = ranges;
            if (!upward)
                std::reverse(ordered.begin(), ordered.end());
            for (int limit = 1; limit <= static_cast<int>(ranges.size()) + 1; ++limit) {
                QVariantList all;
                Bytes start;
                do {
                    Queried page;
                    ASSERT_EQ(query({"m", start, limit, forward, &c.condition}, &page), 0);
                    EXPECT_LE(page.items.size(), limit);
                    all += page.items;
                    start = page.lastRange.chopped(page.lastRange.isEmpty() ? 0 : 1);
                } while (!start.isEmpty() && all.size() <= ranges.size());
                EXPECT_EQ(all, itemsAt(ordered)) << limit;
            }
        }
    }
}

// The table above compares with a second telling of the rules; what follows pins their consequences one by one.

TEST_F(QueryDbTest, OtherHashKeysAreNotMet)
{
    // Neighbours by length, by prefix and by digits that continue the length.
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
    expectRanges({"m", "", 2, true, &b}, {"b"}, std::nullopt); // "c" was met and said stop
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

    // One step back leads to another hash key: this one has nothing.
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
    // The seek of a downward walk without a bound: keys that continue that byte lie behind it.
    putRanges("m", {"a", "\xfe\xff", "\xff", "\xff\x01", "\xff\xff"});
    expectRanges({"m", "", 9, false, nullptr}, {"\xff", "\xfe\xff", "a"}, std::nullopt);
    remove({"m", "\xff"});
    expectRanges({"m", "", 9, false, nullptr}, {"\xff\x01", "\xfe\xff", "a"}, std::nullopt);

    // An empty bound becomes that byte as well, also in its comparisons.
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
    expectRanges({"m", "a", 0, true, nullptr}, {"b"}, Bytes("b")); // the limit is asked only behind a counted record
}

TEST_F(QueryDbTest, VanishedStartIsNotSkippedOver)
{
    putRanges("m", {"a", "c", "d"});
    expectRanges({"m", "b", 1, true, nullptr}, {"c"}, Bytes("c"));
    // Downward, the next greater key is examined first and then the walk goes through the start.
    expectRanges({"m", "b", 9, false, nullptr}, {"c", "a"}, std::nullopt);
    expectRanges({"m", "b", 1, false, nullptr}, {"c"}, Bytes("c"));
}

TEST_F(QueryDbTest, StartRangeReplacesLow)
{
    putRanges("m", {"a", "ab", "abc", "abd", "b", "c"});
    const QVariantMap begins = condition("BEGINS_WITH", {"a"});
    expectRanges({"m", "", 2, true, &begins}, {"a", "ab"}, Bytes("ab"));
    expectRanges({"m", "ab", 9, true, &begins}, {"abc", "abd"}, std::nullopt); // whatever begins with "ab"
    expectRanges({"m", "abc", 9, true, &begins}, {}, std::nullopt);            // "abd" does not begin with "abc"

    const QVariantMap eq = condition("EQ", {"b"});
    expectRanges({"m", "aa", 9, true, &eq}, {}, std::nullopt); // the first key met is not "aa"
    const QVariantMap gt = condition("GT", {"b"});
    expectRanges({"m", "a", 9, true, &gt}, {"ab", "abc", "abd", "b", "c"}, std::nullopt);
    const QVariantMap lt = condition("LT", {"ab"});
    expectRanges({"m", "b", 9, true, &lt}, {"abd", "abc", "ab", "a"}, std::nullopt);
    const QVariantMap between = condition("BETWEEN", {"b", "c"});
    expectRanges({"m", "abc", 9, true, &between}, {"abd", "b", "c"}, std::nullopt); // the upper bound stays
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
    // The value is still where the walk begins, as the direction is the request's own.
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

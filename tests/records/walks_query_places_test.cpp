#include "querywalkfixture.h"

namespace {

/** For every position of the hash key's records in their file: alone, first, last, or between others. */
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
    const QList<Bytes> ranges = Ranges.mid(1); // without the empty range key, after which no query can continue
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

} // namespace

#ifndef QUORVA_TESTS_RECORDS_QUERYWALKFIXTURE_H
#define QUORVA_TESTS_RECORDS_QUERYWALKFIXTURE_H

#include "walkfixture.h"

#include <optional>

class QueryDbTest : public WalkTest {
protected:
    /** The range keys of the hash key "m" that most tests query, in key order. */
    static inline const QList<Bytes> Ranges{"", "a", "ab", "abd", "b", "bb", "\xe9", "\xff"};

    /** Records of other hash keys that immediately precede and follow those of "m". */
    static inline const QList<Keys> Before{{"", "m"}, {"0", "0"}, {"l", "\xff\xff"}};
    static inline const QList<Keys> Behind{{"n", ""}, {"mm", "a"}, {"maa", "b"}};

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

    /** The expected result of a query of the hash key "m", computed from positions in its sorted range keys. */
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

    /** Queries with and without items, and compares the results with `expected`. */
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

    /** Expects a query to return the items of these range keys and this last range key. */
    void expectRanges(const QueryRange& asked, const QList<Bytes>& ranges, const std::optional<Bytes>& last)
    {
        Queried result;
        EXPECT_EQ(query(asked, &result), 0);
        EXPECT_EQ(result,
                  (Queried{static_cast<int>(ranges.size()), itemsAt(ranges), last ? terminated(*last) : Bytes()}));
    }
};

#endif

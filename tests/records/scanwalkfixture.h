#ifndef QUORVA_TESTS_RECORDS_SCANWALKFIXTURE_H
#define QUORVA_TESTS_RECORDS_SCANWALKFIXTURE_H

#include "records/requeststatus.h"
#include "walkfixture.h"

class ScanDbTest : public WalkTest {
protected:
    /** In key order. A record key begins with the length of the hash key, so "b" sorts before "aa". */
    static inline const QList<Keys> Sample{
        {"", "r"},     {"a", ""},     {"a", "a"}, {"a", "ab"}, {"a", "b"},     {"b", "a"},   {"c", "c"},
        {"z", "\xff"}, {"\xe9", "a"}, {"aa", ""}, {"aa", "b"}, {"az", "\xe9"}, {"aaa", "x"}, {"aaaaaaaaaa", "y"},
    };

    static Bytes keyOf(const Keys& keys) { return Records::recordKey(keys.first, keys.second); }

    /** The expected result of a scan of Sample, computed from positions. */
    Scanned expected(const Keys& start, const QVariantMap& filter, Scanned progress) const
    {
        qsizetype at = 0;
        if (!start.first.isEmpty()) {
            while (at < Sample.size() && keyOf(Sample.at(at)) < keyOf(start))
                ++at;
            if (at < Sample.size() && Sample.at(at) == start) {
                if (progress.limit <= 0)
                    return stoppedAt(start, progress);
                ++at;
            }
        }
        for (; at < Sample.size(); ++at) {
            const Keys& keys = Sample.at(at);
            ++progress.scanned;
            bool stop = false;
            const QVariantMap hash = filter.value(names_.hash).toMap();
            const QVariantMap range = filter.value(names_.range).toMap();
            if (matches(hash, keys.first, lowOf(hash), &stop) && matches(range, keys.second, lowOf(range), &stop)) {
                ++progress.count;
                progress.items.append(itemOf(keys));
            }
            if (--progress.limit <= 0)
                return stoppedAt(keys, progress);
        }
        return progress;
    }

    static Scanned stoppedAt(const Keys& keys, Scanned progress)
    {
        progress.lastHash = terminated(keys.first);
        progress.lastRange = terminated(keys.second);
        return progress;
    }
};

#endif

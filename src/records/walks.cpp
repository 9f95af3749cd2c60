#include "records/walks.h"

#include "records/conditions.h"
#include "records/encoding.h"
#include "records/requeststatus.h"
#include "records/walk.h"

#include <QByteArrayView>

#include <utility>

namespace {

/**
 * Opens the walk, lets `gather` fill a Result and append to `items`, and ends the walk. The result is returned if all
 * of that succeeded; otherwise the appended items are removed.
 */
template <typename Result, typename Gather>
int runWalk(Walk& walk, const TxnScope& scope, BDBIndex* db, Gather&& gather, QByteArray* items, Result* result)
{
    const qsizetype before = items != nullptr ? items->size() : 0;
    Result found;
    if (db == nullptr) {
        *result = std::move(found);
        return 0;
    }
    int rc = walk.open(scope, db);
    if (rc == 0)
        rc = gather(&found);
    rc = walk.finish(rc);
    if (rc == 0)
        *result = std::move(found);
    else if (items != nullptr)
        items->truncate(before);
    return rc;
}

/** The conditions of a "ScanFilter" on the key attributes. */
struct KeyFilter {
    KeyBounds hash;
    KeyBounds range;
};

/** Kept: conditions on other attributes match everything. */
int parseFilter(const QVariantMap& filter, const KeyNames& names, KeyFilter* parsed)
{
    bool direction = true; // a scan always ascends
    if (const int rc = Records::parseCondition(filter.value(names.hash).toMap(), &parsed->hash, &direction))
        return rc;
    return Records::parseCondition(filter.value(names.range).toMap(), &parsed->range, &direction);
}

/** A scan does not end when no later key can match a condition: keys of the next hash key may match again. */
bool matchesFilter(const KeyFilter& filter, QByteArrayView hash, QByteArrayView range)
{
    return Records::matchCondition(hash, filter.hash).match && Records::matchCondition(range, filter.range).match;
}

/** A scan in progress: its position and its criteria. */
class RecordScan {
public:
    RecordScan(Walk& walk, const ScanRange& range, const QByteArray& startKey, const KeyFilter& filter,
               ItemFormatter* format, QByteArray* items)
        : walk_(walk), range_(range), startKey_(startKey), filter_(filter), format_(format), items_(items)
    {}

    /** Walks until the end of the partition or the limit. */
    [[nodiscard]] int run(ScanResult* result)
    {
        bool positioning = !startKey_.isEmpty();
        for (u_int32_t step = positioning ? DB_SET_RANGE : DB_FIRST;; step = DB_NEXT) {
            if (const int rc = walk_.read(step))
                return rc == DB_NOTFOUND ? 0 : rc;
            QByteArrayView hash;
            QByteArrayView range;
            if (!walk_.decode(&hash, &range))
                return StatusInternalError;
            const bool isStart = std::exchange(positioning, false) && walk_.key() == startKey_;
            if (!isStart) {
                if (const int rc = examine(hash, range, result))
                    return rc;
            }
            // Kept: checked after the record, so that at least one is examined whatever the limit.
            if (result->scanned >= range_.limit) {
                result->lastHash = hash.toByteArray().append('\0');
                result->lastRange = range.toByteArray().append('\0');
                return 0;
            }
        }
    }

private:
    int examine(QByteArrayView hash, QByteArrayView range, ScanResult* result)
    {
        ++result->scanned;
        if (!matchesFilter(filter_, hash, range))
            return 0;
        const qsizetype before = items_->size();
        if (const int rc = walk_.appendItem(format_, hash, range, items_))
            return rc;
        if (range_.countOnly)
            items_->truncate(before);
        ++result->count;
        return 0;
    }

    Walk& walk_;
    const ScanRange& range_;
    const QByteArray& startKey_;
    const KeyFilter& filter_;
    ItemFormatter* const format_;
    QByteArray* const items_;
};

/** A query in progress: its position and its criteria. */
class RecordQuery {
public:
    RecordQuery(Walk& walk, const QueryRange& range, const KeyBounds& condition, bool forward, ItemFormatter* format,
                QByteArray* items)
        : walk_(walk), range_(range), condition_(condition), prefix_(Records::recordKey(range.hashKey, QByteArray())),
          forward_(forward), format_(format), items_(items), positioning_(!forward || !range.startRange.isEmpty())
    {}

    /** Walks until the end of the hash key, a condition that rules out later keys, or the limit. */
    [[nodiscard]] int run(QueryResult* result)
    {
        const u_int32_t onward = forward_ ? DB_NEXT : DB_PREV;
        int limit = range_.limit;
        for (u_int32_t step = DB_SET_RANGE;; step = onward) {
            const int rc = walk_.read(step);
            if (rc != 0 && rc != DB_NOTFOUND)
                return rc;
            if (rc == DB_NOTFOUND || !walk_.key().startsWith(prefix_)) {
                if (!stepBackFromSeek())
                    return 0;
                continue;
            }
            const QByteArrayView range = walk_.key().sliced(prefix_.size());
            if (std::exchange(positioning_, false) && !range_.startRange.isEmpty() && range == range_.startRange)
                continue;

            const KeyMatch key = Records::matchCondition(range, condition_);
            if (key.match) {
                if (const int failed = take(range, result))
                    return failed;
            }
            if (key.stop)
                return 0;
            if (--limit <= 0) { // Kept: as in a scan
                result->lastRange = range.toByteArray().append('\0');
                return 0;
            }
        }
    }

private:
    /**
     * A descending walk seeks the position of its first record and may land past all records of the hash key, or find
     * nothing if they are the last in the file: one step back then reaches the first record. (From an unpositioned
     * cursor, a step back is the last record of the file.)
     *
     * Kept: if the start key has been deleted, the walk starts on the next greater key, which is then its first record.
     */
    bool stepBackFromSeek() { return std::exchange(positioning_, false) && !forward_; }

    int take(QByteArrayView range, QueryResult* result)
    {
        ++result->count;
        return format_ != nullptr ? walk_.appendItem(format_, range_.hashKey, range, items_) : 0;
    }

    Walk& walk_;
    const QueryRange& range_;
    const KeyBounds& condition_;
    const QByteArray prefix_;
    const bool forward_;
    ItemFormatter* const format_; // or null
    QByteArray* const items_;
    bool positioning_; // until the first record after the seek
};

} // namespace

int Records::scanDb(const TxnScope& scope, BDBIndex* db, const ScanRange& range, ItemFormatter* format,
                    QByteArray* items, ScanResult* result)
{
    KeyFilter filter;
    if (const int rc = parseFilter(range.filter, format->names(), &filter))
        return rc;
    const QByteArray startKey = range.startHash.isEmpty() ? QByteArray() : recordKey(range.startHash, range.startRange);

    Walk walk("scanDb", startKey);
    RecordScan scan(walk, range, startKey, filter, format, items);
    return runWalk(
        walk, scope, db, [&](ScanResult* found) { return scan.run(found); }, items, result);
}

int Records::queryDb(const TxnScope& scope, BDBIndex* db, const QueryRange& range, ItemFormatter* format,
                     QByteArray* items, QueryResult* result)
{
    KeyBounds condition;
    bool forward = range.forward;
    if (range.condition != nullptr) {
        if (const int rc = parseCondition(*range.condition, &condition, &forward))
            return rc;
    }
    // Kept: a start key with an empty range key counts as none.
    if (!range.startRange.isEmpty())
        condition.low = range.startRange; // Kept: for the comparisons as well, not only for the seek
    else if (!forward && condition.low.isEmpty())
        condition.low = QByteArray(1, '\xff'); // after every range key of the hash key

    Walk walk("queryDb", recordKey(range.hashKey, condition.low));
    RecordQuery query(walk, range, condition, forward, format, items);
    return runWalk(
        walk, scope, db, [&](QueryResult* found) { return query.run(found); }, items, result);
}

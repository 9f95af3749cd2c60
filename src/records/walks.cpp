#include "records/walks.h"

#include "log/log.h"
#include "records/conditions.h"
#include "records/encoding.h"
#include "records/recordbuffers.h"
#include "storage/bdbcursor.h"
#include "storage/bdbenv.h"
#include "storage/bdbindex.h"
#include "storage/bdbtxn.h"

#include <QByteArrayView>

#include <utility>

namespace {

constexpr const char* LogOrigin = "bdbrequest";

/**
 * A cursor in a transaction of its own, with the memory for what it reads. Used by one walk: open, then read, then
 * finish.
 */
class Walk {
public:
    /** `name` begins the walk's log lines; `startKey` is what the first read seeks, or nothing. */
    Walk(const char* name, const QByteArray& startKey) : name_(name), startKey_(startKey), buffers_(startKey) {}

    [[nodiscard]] int open(BDBRequest& request, BDBIndex* db)
    {
        int rc = txn_.begin(request.environment.env(), 0);
        if (rc == 0)
            // As a flag of the cursor, since Berkeley DB accepts it with a read and does nothing with it there.
            // Kept: of a batch that is written meanwhile the walk may see a part; writers do not wait for all of it.
            rc = cursor_.open(db, &txn_, DB_READ_COMMITTED);
        if (rc != 0) {
            if (rc != DB_LOCK_DEADLOCK)
                LOG_ERROR(LogOrigin, __LINE__) << "cursor open failed " << rc;
            return rc;
        }
        if (!buffers_.valid() || !buffers_.allocateData(buffers_.keyCapacity()))
            return allocationFailed();
        return 0;
    }

    /**
     * Reads a record, which cannot change until the next read: the cursor holds a read lock on its page, and lets go
     * of it when it moves on. A read that fails, for want of room among others, leaves the cursor where it was.
     * DB_NOTFOUND and DB_LOCK_DEADLOCK come without a line.
     */
    [[nodiscard]] int read(u_int32_t step)
    {
        const int rc = buffers_.readGrowing([&] { return cursor_.get(buffers_.key(), buffers_.data(), step); });
        if (!buffers_.valid())
            return allocationFailed();
        if (rc != 0 && rc != DB_NOTFOUND && rc != DB_LOCK_DEADLOCK)
            LOG_ERROR(LogOrigin, __LINE__)
                << name_ << " cursor get failed for " << startKey_ << " key ulen " << buffers_.key()->get_ulen()
                << " size " << buffers_.key()->get_size() << " data ulen " << buffers_.data()->get_ulen() << " size "
                << buffers_.data()->get_size();
        return rc;
    }

    /** The key of the record that was read; valid until the next read. */
    QByteArrayView key()
    {
        return {static_cast<const char*>(buffers_.key()->get_data()),
                static_cast<qsizetype>(buffers_.key()->get_size())};
    }

    /** Appends the item of the record that was read to the JSON of others. On failure `items` is as it was. */
    [[nodiscard]] int appendItem(ItemFormatter* format, QByteArrayView hash, QByteArrayView range, QByteArray* items)
    {
        const qsizetype before = items->size();
        if (before > 0)
            *Json::extend(items, 1) = ',';
        if (format->append(buffers_.dataBytes(), hash, range, items))
            return 0;
        items->truncate(before);
        LOG_ERROR(LogOrigin, __LINE__) << name_ << " Failed to parse";
        return StatusInternalError;
    }

    /** Splits a record key. False, with a line, when its length prefix is no number. */
    [[nodiscard]] bool decode(QByteArrayView* hash, QByteArrayView* range)
    {
        if (decodeRecordKey(key(), hash, range))
            return true;
        LOG_ERROR(LogOrigin, __LINE__) << name_ << " Key format corruption";
        return false;
    }

    /** Closes the cursor and ends the transaction. */
    [[nodiscard]] int finish(int rc)
    {
        (void)cursor_.close(); // a failure shows in the transaction's end, if anywhere
        return txn_.finish(rc);
    }

private:
    [[nodiscard]] static int allocationFailed()
    {
        LOG_CRIT(LogOrigin, __LINE__) << "malloc failed";
        return StatusInternalError;
    }

    const char* const name_;
    const QByteArray startKey_;
    BDBTxn txn_; // in front of the cursor, which must be closed first
    BDBCursor cursor_;
    RecordBuffers buffers_;
};

/** The conditions of a "ScanFilter" on the key attributes. */
struct KeyFilter {
    KeyCondition hash;
    KeyCondition range;
};

/** Kept: conditions on other attributes let everything through. */
int parseFilter(const QVariantMap& filter, const KeyNames& names, KeyFilter* parsed)
{
    bool direction = true; // a scan always walks up
    if (const int rc = parseCondition(filter.value(names.hash).toMap(), &parsed->hash, &direction))
        return rc;
    return parseCondition(filter.value(names.range).toMap(), &parsed->range, &direction);
}

bool matchesFilter(const KeyFilter& filter, QByteArrayView hash, QByteArrayView range)
{
    bool match = true;
    bool stop = false; // of no use here: what follows may match again
    matchCondition(hash, filter.hash, &match, &stop);
    if (match)
        matchCondition(range, filter.range, &match, &stop);
    return match;
}

/** The records of a scan, one after another. `progress` grows as it goes; the caller takes that back on failure. */
int scanRecords(Walk& walk, const QByteArray& startKey, const KeyFilter& filter, ItemFormatter* format,
                ScanProgress* progress)
{
    bool atStart = !startKey.isEmpty();
    u_int32_t step = atStart ? DB_SET_RANGE : DB_FIRST;
    for (;; step = DB_NEXT) {
        if (const int rc = walk.read(step))
            return rc == DB_NOTFOUND ? 0 : rc;
        QByteArrayView hash;
        QByteArrayView range;
        if (!walk.decode(&hash, &range))
            return StatusInternalError;

        if (atStart && walk.key() == startKey) {
            atStart = false;
        } else {
            atStart = false;
            ++progress->scanned;
            if (matchesFilter(filter, hash, range)) {
                if (const int rc = walk.appendItem(format, hash, range, &progress->items))
                    return rc;
                if (progress->countOnly)
                    progress->items.truncate(0);
                ++progress->count;
            }
            --progress->limit;
        }
        if (progress->limit <= 0) { // Kept: looked at behind the record, so that one is examined whatever the limit
            progress->lastHash = hash.toByteArray().append('\0');
            progress->lastRange = range.toByteArray().append('\0');
            return 0;
        }
    }
}

/** One query under way: where it looks, and what it has found. */
class RecordQuery {
public:
    RecordQuery(Walk& walk, const QueryRange& range, const KeyCondition& condition, bool forward, ItemFormatter* format)
        : walk_(walk), range_(range), condition_(condition), prefix_(recordKey(range.hashKey, QByteArray())),
          forward_(forward), format_(format), positioning_(!forward || !range.startRange.isEmpty())
    {}

    /** Walks until the end of the hash key, a condition that says stop, or the limit. */
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
            QByteArrayView hash;
            QByteArrayView range;
            if (!walk_.decode(&hash, &range))
                return StatusInternalError;
            range = walk_.key().sliced(prefix_.size());
            if (std::exchange(positioning_, false) && !range_.startRange.isEmpty() && range == range_.startRange)
                continue;

            bool match = true;
            bool stop = false;
            matchCondition(range, condition_, &match, &stop);
            if (match) {
                if (const int failed = take(range, result))
                    return failed;
            }
            if (stop)
                return 0;
            if (--limit <= 0) { // Kept: as in a scan
                result->lastRange = range.toByteArray().append('\0');
                return 0;
            }
        }
    }

private:
    /**
     * A downward walk seeks to where its first record would be and may land behind all records of the hash key, or find
     * nothing when they are the last ones of the file: one step back then leads to the first record. (From a cursor
     * that found nothing, a step back is the last record of the file.)
     *
     * Kept: a start key that has vanished leaves the walk on the next greater key, which is then its first record.
     */
    bool stepBackFromSeek() { return std::exchange(positioning_, false) && !forward_; }

    int take(QByteArrayView range, QueryResult* result)
    {
        ++result->count;
        return format_ != nullptr ? walk_.appendItem(format_, range_.hashKey, range, &result->items) : 0;
    }

    Walk& walk_;
    const QueryRange& range_;
    const KeyCondition& condition_;
    const QByteArray prefix_;
    const bool forward_;
    ItemFormatter* const format_; // or null
    bool positioning_;            // until the first record that the seek leads to
};

} // namespace

int scanDb(BDBRequest& request, BDBIndex* db, const QByteArray& startHash, const QByteArray& startRange,
           const QVariantMap& filter, ItemFormatter* format, ScanProgress* progress)
{
    KeyFilter parsed;
    if (const int rc = parseFilter(filter, format->names(), &parsed))
        return rc;
    const QByteArray startKey = startHash.isEmpty() ? QByteArray() : recordKey(startHash, startRange);
    Walk walk("scanDb", startKey);
    if (const int rc = walk.open(request, db))
        return walk.finish(rc);

    // What earlier partitions gave is neither copied nor lost: a failed attempt is cut off again.
    const int limit = progress->limit;
    const int count = progress->count;
    const int scanned = progress->scanned;
    const qsizetype items = progress->items.size();
    const int rc = walk.finish(scanRecords(walk, startKey, parsed, format, progress));
    if (rc != 0) {
        progress->limit = limit;
        progress->count = count;
        progress->scanned = scanned;
        progress->items.truncate(items);
        progress->lastHash.clear();
        progress->lastRange.clear();
    }
    return rc;
}

int queryDb(BDBRequest& request, BDBIndex* db, const QueryRange& range, ItemFormatter* format, QueryResult* result)
{
    KeyCondition condition;
    bool forward = range.forward;
    if (range.condition != nullptr) {
        if (const int rc = parseCondition(*range.condition, &condition, &forward))
            return rc;
    }
    // Kept: a start key whose range key is empty is none.
    if (!range.startRange.isEmpty())
        condition.low = range.startRange; // Kept: for the comparisons as well, not for the seek alone
    else if (!forward && condition.low.isEmpty())
        condition.low = QByteArray(1, '\xff'); // behind every range key of the hash key

    Walk walk("queryDb", recordKey(range.hashKey, condition.low));
    if (const int rc = walk.open(request, db))
        return walk.finish(rc);
    QueryResult found;
    const int rc = walk.finish(RecordQuery(walk, range, condition, forward, format).run(&found));
    if (rc == 0)
        *result = std::move(found);
    return rc;
}

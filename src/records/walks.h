#ifndef QUORVA_RECORDS_WALKS_H
#define QUORVA_RECORDS_WALKS_H

#include "records/itemformatter.h"
#include "records/requestcontext.h"

class BDBIndex;

/**
 * Walks over the records of one "data" database with a cursor, each in a transaction of its own. It holds a read lock
 * on the page that it is on and on none that it has left, so a writer waits for a page at most and not for the walk.
 * Each item is whole; of a batch that is written meanwhile a walk may see a part. Results: 0;
 * StatusInternalError with an ERROR line (a malformed condition, a corrupt key, stored text that does not parse, no
 * memory); StatusInvalidRequest (a condition's value that is not Latin-1); or Berkeley DB's code, DB_LOCK_DEADLOCK
 * without a line. A walk that fails leaves its in-out values as they were.
 */

/** What a scan has gathered, carried from one partition to the next. */
struct ScanProgress {
    int limit = 0; // records still to examine; at least one is examined whatever it says
    int count = 0; // records that matched
    int scanned = 0;
    QByteArray items; // the JSON of those, joined by commas
    // Set when the walk stopped before the end: the keys of the last examined record, each with one zero byte.
    QByteArray lastHash;
    QByteArray lastRange;
    bool countOnly = false; // asked for: what matches is read and checked all the same, but not gathered
};

/**
 * Walks a whole partition in key order, from just behind the record of `startHash` and `startRange` when `startHash` is
 * not empty. Of `filter` only the conditions on the two key attributes, which `format` names, are looked at.
 */
[[nodiscard]] int scanDb(BDBRequest& request, BDBIndex* db, const QByteArray& startHash, const QByteArray& startRange,
                         const QVariantMap& filter, ItemFormatter* format, ScanProgress* progress);

/** What a query asks for. */
struct QueryRange {
    QByteArray hashKey;
    QByteArray startRange; // exclusive; empty: from the beginning
    int limit;             // records to examine; at least one is examined whatever it says
    bool forward;
    const QVariantMap* condition; // the "RangeKeyCondition", or null; not owned
};

struct QueryResult {
    int count = 0;
    QByteArray items;     // as in a scan; stays empty when only the count is wanted
    QByteArray lastRange; // set when the walk ended on the limit: the last examined range key with one zero byte
};

/**
 * Walks the records of one hash key; without `format` it only counts. `result` is changed only on 0.
 *
 * Kept: an exclusive start also replaces the bound of the condition in its comparisons.
 */
[[nodiscard]] int queryDb(BDBRequest& request, BDBIndex* db, const QueryRange& range, ItemFormatter* format,
                          QueryResult* result);

#endif

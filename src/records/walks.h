#ifndef QUORVA_RECORDS_WALKS_H
#define QUORVA_RECORDS_WALKS_H

#include "records/itemformatter.h"

class TxnScope;
class BDBIndex;

/**
 * Walks over the records of one "data" database `db` of the environment `env` with a cursor, each in its own
 * transaction. A null `db` has no records. A walk holds a read lock only on its current page, so a writer waits for a
 * page at most, not for the walk. Each item is read consistently; a walk may see part of a concurrent batch. Results:
 * 0; StatusInternalError with an ERROR line (a malformed condition, a corrupt key, stored text that does not parse, out
 * of memory); StatusInvalidRequest (a condition's value that is not Latin-1); or Berkeley DB's code, DB_LOCK_DEADLOCK
 * without a line.
 *
 * The JSON of the matching items is appended to `items`, joined by commas. On failure `items` and `result` are
 * unchanged.
 */

/** The parameters of a scan. */
struct ScanRange {
    QByteArray startHash; // exclusive, with startRange; empty: from the beginning
    QByteArray startRange;
    int limit;                 // records to examine; at least one is examined whatever it says
    const QVariantMap& filter; // not owned
    bool countOnly = false;    // matching items are still read and checked, but not returned
};

struct ScanResult {
    int count = 0;   // records that matched
    int scanned = 0; // records that were examined
    // Set if the walk ended at the limit: the keys of the last examined record, each with one zero byte.
    QByteArray lastHash;
    QByteArray lastRange;
};

/** The parameters of a query. */
struct QueryRange {
    QByteArray hashKey;
    QByteArray startRange; // exclusive; empty: from the beginning
    int limit;             // records to examine; at least one is examined whatever it says
    bool forward;
    const QVariantMap* condition; // the "RangeKeyCondition", or null; not owned
};

struct QueryResult {
    int count = 0;
    QByteArray lastRange; // set if the walk ended at the limit: the last examined range key with one zero byte
};

namespace Records {

/**
 * Walks a whole partition in key order. Only the filter's conditions on the two key attributes, which `format` names,
 * are evaluated.
 */
[[nodiscard]] int scanDb(const TxnScope& scope, BDBIndex* db, const ScanRange& range, ItemFormatter* format,
                         QByteArray* items, ScanResult* result);

/**
 * Walks the records of one hash key; without `format` it only counts, and `items` may be null.
 *
 * Kept: an exclusive start also replaces the bound of the condition in its comparisons.
 */
[[nodiscard]] int queryDb(const TxnScope& scope, BDBIndex* db, const QueryRange& range, ItemFormatter* format,
                          QByteArray* items, QueryResult* result);

} // namespace Records

#endif

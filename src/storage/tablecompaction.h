#ifndef QUORVA_STORAGE_TABLECOMPACTION_H
#define QUORVA_STORAGE_TABLECOMPACTION_H

#include "storage/txnscope.h"

#include <QByteArray>

class BDBIndex;

/** Gives the space of deleted records in a database file back to the file system, while it is in use. */
namespace TableCompaction {

/** What a run has done. */
struct Progress {
    QByteArray next;       // the record to continue with; empty at the end
    bool hasMoved = false; // something changed
    bool isBusy = false;   // a full backup is copying a file, or a table is being removed: continue later
};

/**
 * Compacts a part of the file, from the record `progress->next` on, or from the first one if it is empty. Free pages
 * are returned to the file system if no used page follows them; as pages move to free ones before them, a second pass
 * frees more.
 *
 * Works in transactions that each take some milliseconds, as the only writer of the file; other writers run in between.
 * A crash or a failure leaves the records as they are. 0, or a Berkeley DB code.
 */
[[nodiscard]] int run(const TxnScope& scope, BDBIndex* database, Progress* progress);

} // namespace TableCompaction

#endif

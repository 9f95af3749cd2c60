#ifndef QUORVA_STORAGE_DATABASESTATE_H
#define QUORVA_STORAGE_DATABASESTATE_H

#include <QMutex>

#include <atomic>

/**
 * What all handles of one database file share, however their requests spelled its name. Owned by the environment; lives
 * as long as it does.
 */
struct DatabaseState {
    /**
     * The number of transactions that have written to the file and may have released their locks, but are not durable
     * yet. Raised before such a commit, lowered after the flush of the log that covers it. Whoever reads from the file
     * while this is not 0 may have read something that a power loss would take away.
     */
    std::atomic<int> undurable{0};

    /**
     * Held by the one transaction that may write to the file (see BDBTxn::beginWriting), so that writers do not
     * deadlock with each other. Readers have Berkeley DB's page locks.
     *
     * It also keeps Berkeley DB 5.3 from putting a key into the wrong leaf. A put that finds its leaf full locks the
     * leaf and its parent to split it. If another transaction has split the leaf in the meantime, the put releases
     * both, but starts its next search at that parent instead of the root. If the parent was split as well, a key that
     * belongs under its new sibling is inserted after the last key of the old page, where no search from the root finds
     * it. With a single writer, nobody splits a leaf in the meantime.
     */
    QMutex writer;
};

#endif

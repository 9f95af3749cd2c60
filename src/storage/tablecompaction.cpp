#include "storage/tablecompaction.h"

#include "storage/bdbenv.h"
#include "storage/bdbindex.h"
#include "storage/bdbtxn.h"
#include "storage/deadlockretry.h"

#include <cstdlib>
#include <mutex>

namespace TableCompaction {

namespace {

// How many pages a transaction frees, at most. It holds locks on about 17 times as many, and takes some milliseconds.
constexpr u_int32_t PiecePages = 64;

constexpr int Pieces = 64; // of one run

/** One transaction. On success, `progress->next` is the last record that was looked at. */
int compactPiece(const TxnScope& scope, BDBIndex* database, Progress* progress)
{
    // Only tried: a removal that holds it waits for the request that compacts.
    const std::unique_lock files(scope.env()->filesMutex(), std::try_to_lock);
    progress->isBusy = !files.owns_lock();
    if (progress->isBusy)
        return 0;
    BDBTxn txn;
    if (const int rc = txn.beginWriting(scope, {&database, 1}))
        return rc;
    QByteArray& next = progress->next;
    Dbt start(next.data(), static_cast<u_int32_t>(next.size()));
    Dbt last;
    last.set_flags(DB_DBT_MALLOC);
    DB_COMPACT counts{};
    counts.compact_pages = PiecePages;
    const int rc = txn.finish(database->compact(&txn, next.isEmpty() ? nullptr : &start, &counts, &last));
    if (rc == 0) {
        next = QByteArray(static_cast<const char*>(last.get_data()), static_cast<qsizetype>(last.get_size()));
        const bool moved = counts.compact_pages_free != 0 || counts.compact_pages_truncated != 0;
        progress->hasMoved = progress->hasMoved || moved;
    }
    std::free(last.get_data());
    return rc;
}

} // namespace

int run(const TxnScope& scope, BDBIndex* database, Progress* progress)
{
    for (int piece = 0; piece < Pieces; ++piece) {
        const QByteArray before = progress->next;
        const auto attempt = [&] { return compactPiece(scope, database, progress); };
        if (const int rc = Deadlocks::retry(attempt, [](int) {}))
            return rc;
        if (progress->isBusy)
            return 0;
        if (progress->next == before) { // as Berkeley DB reports at the end of the file, too
            progress->next.clear();
            return 0;
        }
    }
    return 0;
}

} // namespace TableCompaction

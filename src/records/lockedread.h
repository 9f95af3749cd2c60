#ifndef QUORVA_RECORDS_LOCKEDREAD_H
#define QUORVA_RECORDS_LOCKEDREAD_H

#include <QByteArray>
#include <QVariantMap>

class BDBIndex;
class BDBTxn;
class RecordBuffers;

/** The first half of a read-modify-write of one record, in the caller's transaction. Any thread. */
namespace LockedRead {

/** The texts of an operation's log lines, and the level at which it reports a failed allocation. */
struct Texts {
    const char* readFailed;
    const char* keySize; // Kept: updateDb's line says "key size" and "data size" where the others say "size".
    const char* dataSize;
    int allocationLevel; // Kept: putDb reports at ERROR, the others at CRIT.
};

/** Logs a failed allocation at a level, with a source line. Returns StatusInternalError. */
[[nodiscard]] int allocationFailed(int level, int line);

/**
 * Reads the record under a write lock, which serializes concurrent updates instead of letting them deadlock on the
 * upgrade. A missing record is 0 with `found` false. Otherwise Berkeley DB's code, or StatusInternalError, each with
 * its log line.
 */
[[nodiscard]] int read(const Texts& texts, BDBIndex* db, BDBTxn* txn, const QByteArray& key, RecordBuffers& buffers,
                       bool* found);

/**
 * The same for the record as a tree. A missing one is an empty `item`. Also StatusInternalError, with a log line, for
 * text that is not JSON.
 */
[[nodiscard]] int readItem(const Texts& texts, BDBIndex* db, BDBTxn* txn, const QByteArray& key, RecordBuffers& buffers,
                           QVariantMap* item, bool* found);

} // namespace LockedRead

#endif

#ifndef QUORVA_RECORDS_WALK_H
#define QUORVA_RECORDS_WALK_H

#include "records/recordbuffers.h"
#include "storage/bdbcursor.h"
#include "storage/bdbtxn.h"

#include <QByteArray>
#include <QByteArrayView>

class TxnScope;
class BDBIndex;
class ItemFormatter;

/**
 * A cursor in its own transaction, with its read buffers. Used by one walk and one thread: open, then read, then
 * finish. Failures are logged, except DB_NOTFOUND and DB_LOCK_DEADLOCK.
 */
class Walk {
public:
    /** `name` begins the walk's log lines; `startKey` is the key that the first read seeks, or empty. */
    Walk(const char* name, const QByteArray& startKey) : name_(name), startKey_(startKey), buffers_(startKey) {}

    [[nodiscard]] int open(const TxnScope& scope, BDBIndex* db);

    /**
     * Reads a record, which cannot change until the next read: the cursor holds a read lock on its page and releases it
     * when it leaves the page. A failed read, including one for lack of buffer space, does not move the cursor.
     */
    [[nodiscard]] int read(u_int32_t step);

    /** The key of the current record; valid until the next read. */
    QByteArrayView key()
    {
        return {static_cast<const char*>(buffers_.key()->get_data()),
                static_cast<qsizetype>(buffers_.key()->get_size())};
    }

    /** Splits the key of the current record. False when its length prefix is not a number. */
    [[nodiscard]] bool decode(QByteArrayView* hash, QByteArrayView* range);

    /** Appends the item of the current record to the JSON of others. On failure `items` is unchanged. */
    [[nodiscard]] int appendItem(ItemFormatter* format, QByteArrayView hash, QByteArrayView range, QByteArray* items);

    /** Closes the cursor and ends the transaction. */
    [[nodiscard]] int finish(int rc);

private:
    [[nodiscard]] static int allocationFailed();

    const char* const name_;
    const QByteArray startKey_;
    BDBTxn txn_; // before the cursor, which must be closed first
    BDBCursor cursor_;
    RecordBuffers buffers_;
};

#endif

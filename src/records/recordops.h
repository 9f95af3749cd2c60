#ifndef QUORVA_RECORDS_RECORDOPS_H
#define QUORVA_RECORDS_RECORDOPS_H

#include <QByteArray>
#include <QVariantMap>

#include <optional>

class TxnScope;
class BDBIndex;
class BDBTxn;
class ItemFormatter;

/**
 * The operations on one record: read, write, delete, update. `key` is a record key, `db` an open database. Without a
 * transaction argument an operation runs in its own transaction, committed with the server's flags on 0 and aborted
 * otherwise.
 *
 * Results: 0; StatusConditionFailed; StatusInternalError (allocation, stored text that does not parse, a malformed
 * condition); StatusNotFound (an ADD on wrong types); or Berkeley DB's code: DB_NOTFOUND from getDb, DB_BUFFER_SMALL
 * for a stored value above 512 KiB, DB_LOCK_DEADLOCK (never logged; the caller retries), others with an ERROR line. A
 * failure leaves the record unchanged.
 */
namespace Records {

/** Reads a record and appends the item's JSON to `item` as `format` makes it. On failure `item` is unchanged. */
[[nodiscard]] int getDb(const TxnScope& scope, BDBIndex* db, const QByteArray& key, ItemFormatter* format,
                        QByteArray* item);

/**
 * Reads a record under a write lock, which is held until the transaction ends. `item` is set to the item's
 * JSON as getDb returns it without its key attributes, unset if there is none, and unchanged on failure.
 */
[[nodiscard]] int getForUpdate(BDBIndex* db, const QByteArray& key, std::optional<QByteArray>* item, BDBTxn* txn);

/**
 * Writes `item`, the JSON of an item without its key attributes, under the conditions of `expected`. `oldItem` receives
 * the replaced item, empty when there was none, and is unchanged on failure. Both pointers may be null. Kept: accepts
 * any size, although getDb reads 512 KiB at most.
 */
[[nodiscard]] int putDb(const TxnScope& scope, BDBIndex* db, const QByteArray& key, const QByteArray& item,
                        const QVariantMap* expected, QVariantMap* oldItem);
[[nodiscard]] int putDb(BDBIndex* db, const QByteArray& key, const QByteArray& item, const QVariantMap* expected,
                        QVariantMap* oldItem, BDBTxn* txn);

/**
 * Deletes a record under the conditions of `expected`. `oldItem` receives the deleted item. Both may be null. A missing
 * record counts as deleted. `db` is null for a partition that has no file.
 */
[[nodiscard]] int deleteDb(const TxnScope& scope, BDBIndex* db, const QByteArray& key, const QVariantMap* expected,
                           QVariantMap* oldItem);
[[nodiscard]] int deleteDb(BDBIndex* db, const QByteArray& key, const QVariantMap* expected, QVariantMap* oldItem,
                           BDBTxn* txn);

/**
 * Applies an "AttributeUpdates" map. `expected` and `returnValues` may be null; `result` receives what `returnValues`
 * requests, and only if the update was committed. A missing item that would have no attributes is not written.
 */
[[nodiscard]] int updateDb(const TxnScope& scope, BDBIndex* db, const QByteArray& key, const QVariantMap& updates,
                           const QVariantMap* expected, const QByteArray* returnValues, QVariantMap* result);

} // namespace Records

#endif

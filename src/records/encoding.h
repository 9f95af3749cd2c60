#ifndef QUORVA_RECORDS_ENCODING_H
#define QUORVA_RECORDS_ENCODING_H

#include "format/partitions.h"
#include "format/tablename.h"

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QVariant>

struct KeySchema;

/**
 * The stored formats: how a TableName maps to files, a hash key to a partition, and both keys to a record key.
 *
 * TableName        environment directory | file part
 * record key       LLLL hash-key range-key      LLLL: length of the hash key, decimal, four digits
 *                  0003abc2012-01               hash key "abc", range key "2012-01"
 * stored value     the item without its two key attributes, as JSON text
 *
 * Pure functions; any thread.
 */

/** Data files of a table. On-disk format, do not change. */
inline constexpr unsigned PartitionCount = Partitions::Count;

namespace Records {

/** The name of a table's schema file inside its environment. */
QByteArray filePart(const QByteArray& tableName);

/** The name of the data file that holds a partition: the TableName with "_3f.db" appended. */
QByteArray dataFileName(const QByteArray& tableName, unsigned partition);

/** The partition of a hash key, out of `count`: see Partitions. */
unsigned partitionOf(const QByteArray& hashKey, unsigned count);

/**
 * Kept: a hash key of 10000 bytes or more is written with five digits although readers expect four, so such a key reads
 * back wrongly. Changing either side would make stored tables unreadable.
 */
QByteArray recordKey(const QByteArray& hashKey, const QByteArray& rangeKey);

/** Splits a record key without copying. False when its first four bytes are not a decimal number. */
[[nodiscard]] bool decodeRecordKey(QByteArrayView key, QByteArrayView* hashKey, QByteArrayView* rangeKey);

/** True when Latin-1 can represent the text. */
bool isLatin1(const QString& text);

/**
 * The bytes of a key: Latin-1. A key with characters outside of Latin-1 cannot be stored without loss and is refused:
 * one ERROR line, StatusInvalidRequest. Values other than strings are converted by the variant.
 */
[[nodiscard]] int keyBytes(const QVariant& value, QByteArray* bytes);

/**
 * Removes the key attributes of the table's key schema from `item`, which leaves the stored value. 0,
 * StatusInternalError ("attr missing") or keyBytes' result. The range key of an item without that attribute is empty.
 */
[[nodiscard]] int extractKeys(const KeySchema& schema, QVariantMap* item, QByteArray* hashKey, QByteArray* rangeKey);

} // namespace Records

#endif

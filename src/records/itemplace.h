#ifndef QUORVA_RECORDS_ITEMPLACE_H
#define QUORVA_RECORDS_ITEMPLACE_H

#include <QByteArray>
#include <QVariantMap>

class BDBIndex;
class TableContext;

/** Where an item of a table is stored, or would be. */
struct ItemPlace {
    QByteArray hashKey;
    QByteArray rangeKey;
    QByteArray key;         // of the record, built from both
    BDBIndex* db = nullptr; // of the partition, owned by the environment; null: read only, and it has no file
};

namespace Records {

/** Opens the place of the item with the two keys in `place`, for writing. 0 or openPartition's code. */
[[nodiscard]] int openPlace(TableContext& table, const QByteArray& tableName, ItemPlace* place);

/** The same for a request that only reads, see TableContext::findPartition. */
[[nodiscard]] int findPlace(TableContext& table, const QByteArray& tableName, ItemPlace* place);

/**
 * Opens the place of a whole item of a request, which is split into its keys and its stored value (see takeKeys). Loads
 * the table's schema unless one is loaded. 0, or the result of loadSchema, takeKeys or openPartition.
 */
[[nodiscard]] int takePlace(TableContext& table, const QByteArray& tableName, QVariant item, ItemPlace* place,
                            QByteArray* stored);

} // namespace Records

#endif

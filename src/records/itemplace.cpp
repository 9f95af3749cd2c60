#include "records/itemplace.h"

#include "records/encoding.h"
#include "records/tablecontext.h"

int Records::findPlace(TableContext& table, const QByteArray& tableName, ItemPlace* place)
{
    place->key = recordKey(place->hashKey, place->rangeKey);
    return table.openPartition(tableName, partitionOf(place->hashKey, PartitionCount), &place->db);
}

int Records::takePlace(TableContext& table, const QByteArray& tableName, QVariantMap* item, ItemPlace* place)
{
    if (const int rc = extractKeys(table.keySchema().value(), item, &place->hashKey, &place->rangeKey))
        return rc;
    return findPlace(table, tableName, place);
}

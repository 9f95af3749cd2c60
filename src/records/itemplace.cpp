#include "records/itemplace.h"

#include "records/encoding.h"
#include "records/itemkeys.h"
#include "records/schema.h"
#include "records/tablecontext.h"

int Records::openPlace(TableContext& table, const QByteArray& tableName, ItemPlace* place)
{
    place->key = recordKey(place->hashKey, place->rangeKey);
    return table.openPartition(tableName, partitionOf(place->hashKey, PartitionCount), &place->db);
}

int Records::findPlace(TableContext& table, const QByteArray& tableName, ItemPlace* place)
{
    place->key = recordKey(place->hashKey, place->rangeKey);
    return table.findPartition(tableName, partitionOf(place->hashKey, PartitionCount), &place->db);
}

int Records::takePlace(TableContext& table, const QByteArray& tableName, QVariant item, ItemPlace* place,
                       QByteArray* stored)
{
    if (const int rc = loadSchema(table, tableName, nullptr, false))
        return rc;
    if (const int rc = takeKeys(table.keySchema().value(), std::move(item), &place->hashKey, &place->rangeKey, stored))
        return rc;
    return openPlace(table, tableName, place);
}

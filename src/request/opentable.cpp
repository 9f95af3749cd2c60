#include "request/opentable.h"

#include "records/encoding.h"
#include "records/lookup.h"

using namespace Qt::StringLiterals;

QByteArray tableNameOf(const BDBRequest& request)
{
    return request.parsedBody.value(u"TableName"_s).toString().toUtf8();
}

int openTable(BDBRequest& request, const QByteArray& tableName, EnvAccess* access)
{
    if (const int rc = envLookup(request, tableName, 1))
        return rc;
    return access->takeShared(request.registry, tableName) ? StatusSuccess : StatusNotFound;
}

int openPartition(BDBRequest& request, const QByteArray& tableName, const QByteArray& hashKey, BDBIndex** db)
{
    const QByteArray file = dataFileName(tableName, partitionOf(hashKey, PartitionCount));
    return dbOpen(request, file, DataSubDatabase, db);
}

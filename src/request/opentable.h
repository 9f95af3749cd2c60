#ifndef QUORVA_REQUEST_OPENTABLE_H
#define QUORVA_REQUEST_OPENTABLE_H

#include "records/requestcontext.h"
#include "request/envaccess.h"

class BDBIndex;

/** The request's "TableName" as bytes: UTF-8, as the file system has it. Empty when it is missing. */
QByteArray tableNameOf(const BDBRequest& request);

/**
 * How every operation on a table begins: finds or opens the environment of `tableName` and takes its access lock shared
 * into `access`. 0, the lookup's code, or StatusNotFound while the environment is being deleted.
 */
[[nodiscard]] int openTable(BDBRequest& request, const QByteArray& tableName, EnvAccess* access);

/** Opens the database of the partition that `hashKey` belongs to. */
[[nodiscard]] int openPartition(BDBRequest& request, const QByteArray& tableName, const QByteArray& hashKey,
                                BDBIndex** db);

#endif

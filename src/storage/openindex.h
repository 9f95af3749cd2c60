#ifndef QUORVA_STORAGE_OPENINDEX_H
#define QUORVA_STORAGE_OPENINDEX_H

#include <QByteArray>
#include <QString>

class BDBIndex;
class BDBObjTable;

namespace Registry {

/**
 * Finds or opens sub-database `subDb` of `file` in the environment attached to `table` (a connection's table); `key` is
 * its "db::" name there. 0: `index` is set, shared with all other requests, and stays open as long as the environment.
 * -1: no environment is attached. 12: it could not be opened, no table may have this file (see format/tablename.h), or
 * the environment's table is full; then no file has been created. Not to be called inside a transaction: an open waits
 * for page locks, possibly for one of the caller's own transaction. Any thread.
 */
[[nodiscard]] int openIndex(BDBObjTable* table, const QString& key, const QByteArray& file, const char* subDb,
                            BDBIndex** index);

/** Finds the same database if it is open. True: `index` is set. Never waits for an open. Any thread. */
[[nodiscard]] bool findIndex(BDBObjTable* table, const QString& key, BDBIndex** index);

} // namespace Registry

#endif

#ifndef QUORVA_STORAGE_REGISTRYKEYS_H
#define QUORVA_STORAGE_REGISTRYKEYS_H

#include <QByteArray>
#include <QString>

/**
 * The names of storage objects in their tables (BDBObjTable::names). Any thread.
 *
 *     "env::" directory                    an environment, in the registry
 *     "db::" file ":" sub-database         a database, in the table of its environment
 */
namespace RegistryKeys {

/** The key of an environment directory as spelled. */
QString environment(const QByteArray& directory);

/**
 * The same key for every spelling of one directory: links, ".", ".." and trailing separators resolved. A directory that
 * does not exist keeps its spelling.
 */
QString canonical(const QString& key);

/**
 * That key for `canonical`, an already resolved path, or `key` when the path is not valid text: two directories could
 * then map to one key, and requests for one would reach the other.
 */
QString canonical(const QByteArray& canonical, const QString& key);

/** The directory of an environment's key, as bytes. */
QByteArray directoryOf(const QString& key);

/** The key of a database: a sub-database of the file of that name. */
QString database(const QByteArray& file, const char* subDatabase);

} // namespace RegistryKeys

#endif

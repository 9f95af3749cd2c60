#ifndef QUORVA_STORAGE_ENVIRONMENTPATH_H
#define QUORVA_STORAGE_ENVIRONMENTPATH_H

#include <QByteArray>
#include <QString>

/** The environment directory of a TableName: the part before its last "|", or all of it if there is none. */
QByteArray environmentDirectory(const QByteArray& tableName);

/** The name of a directory in the registry of environments: "env::" and the directory as spelled. */
QString environmentKey(const QByteArray& directory);

/**
 * The same name for every spelling of one directory: links, ".", ".." and trailing separators resolved. A directory
 * that does not exist keeps its spelling.
 */
QString canonicalEnvironmentKey(const QString& key);

/**
 * That name for `canonical`, an already resolved path, or `key` when the path is not valid text: two directories could
 * then map to one name, and requests for one would reach the other.
 */
QString canonicalEnvironmentKey(const QByteArray& canonical, const QString& key);

/** The absolute path, without links, "." and "..", of an existing file. 0 or an errno value. */
[[nodiscard]] int canonicalPath(const QByteArray& path, QByteArray* canonical);

/** The directory of a name in the registry, as bytes. */
QByteArray directoryOfKey(const QString& key);

#endif

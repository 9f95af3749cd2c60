#ifndef QUORVA_STORAGE_ENVIRONMENTPATH_H
#define QUORVA_STORAGE_ENVIRONMENTPATH_H

#include <QByteArray>
#include <QString>

/** The environment directory of a TableName: what stands before its last "|", all of it when there is none. */
QByteArray environmentDirectory(const QByteArray& tableName);

/** The name of a directory in the registry of environments: "env::" and the directory as it was spelled. */
QString environmentKey(const QByteArray& directory);

/**
 * The same name for every spelling of one directory: links, ".", ".." and trailing separators resolved. A directory
 * that does not exist keeps its spelling.
 */
QString canonicalEnvironmentKey(const QString& key);

/**
 * That name for `canonical`, the path of a directory that was resolved already, or `key` when the path is no text: two
 * directories could get the same name then, and the requests of one would end in the other.
 */
QString canonicalEnvironmentKey(const QByteArray& canonical, const QString& key);

/** The absolute path without links, ".", ".." of something that exists. 0 or an errno value. */
[[nodiscard]] int canonicalPath(const QByteArray& path, QByteArray* canonical);

/** The directory of a name in the registry, as bytes. */
QByteArray directoryOfKey(const QString& key);

#endif

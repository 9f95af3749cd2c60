#ifndef QUORVA_STORAGE_ENVIRONMENTPATH_H
#define QUORVA_STORAGE_ENVIRONMENTPATH_H

#include <QByteArray>

/** The directories of environments, as bytes. Any thread. */
namespace EnvironmentPath {

/** The environment directory of a TableName: the part before its last "|", or all of it if there is none. */
QByteArray ofTable(const QByteArray& tableName);

/** The absolute path, without links, "." and "..", of an existing file. 0 or an errno value. */
[[nodiscard]] int canonical(const QByteArray& path, QByteArray* canonical);

} // namespace EnvironmentPath

#endif

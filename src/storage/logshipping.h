#ifndef QUORVA_STORAGE_LOGSHIPPING_H
#define QUORVA_STORAGE_LOGSHIPPING_H

#include <QByteArray>
#include <QByteArrayList>

/** Moving log files into a backup directory. Blocking file work; any thread, one per directory at a time. */
namespace LogShipping {

/**
 * Moves each of `paths` into the target's log directory, which is created if missing. 0; 2 for the first file that
 * could not be moved, with an ERROR line; the remaining ones wait for the next cycle.
 *
 * Kept: a log directory that cannot be created is an ERROR line and 0: the cycle counts as done, and the log files stay
 * where they are.
 */
[[nodiscard]] int backupLog(const QByteArray& target, const QByteArrayList& paths);

/**
 * Moves one file. An older file of the same name is kept as "<destination>.del" until the copy is complete and durable,
 * and the source until after that: a complete copy survives a crash at any point. 0 or 2.
 */
[[nodiscard]] int moveFile(const QByteArray& source, const QByteArray& destination);

/**
 * Removes the log files that an earlier backup left in the target: those of its log directory, and those next to the
 * database files. A restore would find a gap between them and a new copy, or apply records of a diverged environment. 0
 * or an errno value.
 */
[[nodiscard]] int removeLogs(const QByteArray& target);

} // namespace LogShipping

#endif

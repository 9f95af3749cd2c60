#ifndef QUORVA_REQUEST_ADMINOPS_H
#define QUORVA_REQUEST_ADMINOPS_H

#include <QByteArray>
#include <QVariantMap>

class BDBEnv;
struct BDBBackupStatus;
struct BDBRequest;

namespace Requests {

/** A backup's state as in replies: "State", and "Target" unless there is none. */
QVariantMap backupState(const BDBBackupStatus& status);

/** The operation that reports the backup state of a table's environment. Reads the parsed body, fills the reply. */
[[nodiscard]] int describeBackup(BDBRequest& request);

/** The administrative actions carried by an UpdateTable. The caller holds the environment's access lock shared. */

/**
 * Runs the first of "FlushDB", "DbBackup", "UpdateDbBackup" and "StopDbBackup" that `actions` contains; 0 if there is
 * none.
 */
[[nodiscard]] int runAdminAction(BDBEnv* env, const QByteArray& tableName, const QVariantMap& actions);

/**
 * Flushes the whole transaction log of the environment to disk; database pages stay in the cache. Returns Berkeley DB's
 * result.
 */
[[nodiscard]] int flushEnv(BDBEnv* env);

} // namespace Requests

#endif

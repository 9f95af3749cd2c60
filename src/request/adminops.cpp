#include "request/adminops.h"

#include "log/log.h"
#include "request/envaccess.h"
#include "request/opentable.h"
#include "storage/bdbenv.h"
#include "storage/bdbhotbackup.h"

using namespace Qt::StringLiterals;

namespace {

constexpr const char* LogOrigin = "bdbrequest";

constexpr const char* StateNames[] = {"none", "copying", "shipping", "stopping"}; // of BDBBackupStatus::State

int flushDb(BDBRequest& request, const QByteArray& tableName)
{
    const int rc = flushEnv(request);
    if (rc == 0)
        LOG_DEBUG << "flushEnv success dbpath " << tableName;
    else
        LOG_ERROR(LogOrigin, __LINE__) << "flushEnv failed dbpath " << tableName;
    return rc;
}

int backupControl(BDBRequest& request, const QVariant& target, BDBBackupMode mode)
{
    // A number would pass for the name of a directory; what is no text names none, and the backup fails.
    const bool isText = target.typeId() == QMetaType::QString;
    return request.environment.env()->backup(isText ? target.toString() : QString(), mode);
}

} // namespace

int runAdminAction(BDBRequest& request, const QByteArray& tableName, const QVariantMap& actions)
{
    if (actions.contains(u"FlushDB"_s))
        return flushDb(request, tableName);
    if (actions.contains(u"DbBackup"_s))
        return backupControl(request, actions.value(u"DbBackup"_s), BackupFull);
    if (actions.contains(u"UpdateDbBackup"_s))
        return backupControl(request, actions.value(u"UpdateDbBackup"_s), BackupShipLogs);
    if (actions.contains(u"StopDbBackup"_s))
        return backupControl(request, QVariant(), BackupStop);
    return StatusSuccess;
}

int describeBackup(BDBRequest& request)
{
    EnvAccess access;
    if (const int rc = openTable(request, tableNameOf(request), &access))
        return rc;
    const BDBBackupStatus status = request.environment.env()->backupStatus();
    QVariantMap backup{{"State", QLatin1String(StateNames[status.state])}};
    if (status.state != BDBBackupStatus::None)
        backup.insert(u"Target"_s, status.target);
    request.reply.insert(u"Backup"_s, backup);
    return StatusSuccess;
}

int flushEnv(BDBRequest& request)
{
    return request.environment.env()->log_flush(nullptr);
}

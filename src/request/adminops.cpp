#include "request/adminops.h"

#include "log/log.h"
#include "protocol/administration.h"
#include "records/requeststatus.h"
#include "request/bdbrequest.h"
#include "storage/bdbenv.h"
#include "storage/bdbhotbackup.h"

using namespace Qt::StringLiterals;

namespace {

// By BDBBackupStatus::State.
constexpr const char* StateNames[] = {BackupStates::None, BackupStates::Copying, BackupStates::Shipping,
                                      BackupStates::Stopping};

int flushDb(BDBEnv* env, const QByteArray& tableName)
{
    const int rc = Requests::flushEnv(env);
    if (rc == 0)
        LOG_DEBUG << "flushEnv success dbpath " << tableName;
    else
        LOG_ERROR(LogOrigin::Request, __LINE__) << "flushEnv failed dbpath " << tableName;
    return rc;
}

int backupControl(BDBEnv* env, const QVariant& target, BDBBackupMode mode)
{
    // A number would convert to a directory name; anything but a string is treated as no directory, and the backup
    // fails.
    const bool isText = target.typeId() == QMetaType::QString;
    return env->backup(isText ? target.toString() : QString(), mode);
}

} // namespace

int Requests::runAdminAction(BDBEnv* env, const QByteArray& tableName, const QVariantMap& actions)
{
    if (actions.contains(AdminActions::FlushLog))
        return flushDb(env, tableName);
    if (actions.contains(AdminActions::StartBackup))
        return backupControl(env, actions.value(AdminActions::StartBackup), BackupFull);
    if (actions.contains(AdminActions::ShipLogs))
        return backupControl(env, actions.value(AdminActions::ShipLogs), BackupShipLogs);
    if (actions.contains(AdminActions::StopBackup))
        return backupControl(env, QVariant(), BackupStop);
    return StatusSuccess;
}

int Requests::describeBackup(BDBRequest& request)
{
    if (const int rc = request.table.openTable(request.tableName()))
        return rc;
    request.reply.insert(u"Backup"_s, backupState(request.table.env()->backupStatus()));
    return StatusSuccess;
}

QVariantMap Requests::backupState(const BDBBackupStatus& status)
{
    QVariantMap backup{{"State", QLatin1String(StateNames[status.state])}};
    if (status.state != BDBBackupStatus::None)
        backup.insert(u"Target"_s, status.target);
    return backup;
}

int Requests::flushEnv(BDBEnv* env)
{
    return env->log_flush(nullptr);
}

#include "storage/shippingcycle.h"

#include "log/log.h"
#include "storage/backuptarget.h"
#include "storage/bdbenv.h"
#include "storage/logshipping.h"

#include <QByteArrayList>

#include <cerrno>
#include <cstdlib>

namespace ShippingCycle {

namespace {

constexpr const char* LogOrigin = "bdb";

/** The absolute paths of the log files that the environment no longer needs. */
int listUnneededLogs(BDBEnv* env, QByteArrayList* paths)
{
    char** list = nullptr;
    const int rc = env->log_archive(&list, DB_ARCH_ABS);
    if (rc == 0 && list != nullptr) {
        for (char** path = list; *path != nullptr; ++path)
            paths->append(*path);
    }
    std::free(list);
    return rc;
}

} // namespace

int run(BDBEnv* env, const QByteArray& target, bool wasAccepted)
{
    LOG_INFO << "Starting BDBHotBackupThread.log_archive";
    QByteArrayList paths;
    if (const int rc = listUnneededLogs(env, &paths)) {
        LOG_ERROR(LogOrigin, __LINE__) << "log_archive listing failed for " << target << " rc " << rc;
        return rc;
    }
    LOG_INFO << "Done BDBHotBackupThread.log_archive";
    BackupTarget held(env, target);
    if (const int rc = held.openForShipping()) {
        if (rc != ENOTEMPTY) // which is logged separately
            LOG_WARN << "DB Backup target " << target << " cannot be used rc " << rc;
        if (rc == EBUSY && wasAccepted)
            return 0;
        LOG_ERROR(LogOrigin, __LINE__) << "log backup failed for " << target;
        return rc;
    }
    if (paths.isEmpty())
        return 0;
    LOG_INFO << "Starting BDBHotBackupThread.backupLog " << paths.size();
    if (const int rc = LogShipping::backupLog(target, paths)) {
        LOG_ERROR(LogOrigin, __LINE__) << "log backup failed for " << target;
        return rc;
    }
    LOG_INFO << "Done BDBHotBackupThread.backupLog";
    return 0;
}

} // namespace ShippingCycle

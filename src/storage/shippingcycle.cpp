#include "storage/shippingcycle.h"

#include "log/log.h"
#include "storage/backuptarget.h"
#include "storage/bdbenv.h"
#include "storage/logshipping.h"

#include <QByteArrayList>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include <sys/stat.h>

namespace ShippingCycle {

namespace {

using Time = std::chrono::system_clock::time_point;

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

/** When a record was written to the last of these files, before the log went on in the next one. */
std::optional<Time> latestWrite(const QByteArrayList& paths)
{
    std::optional<Time> latest;
    for (const QByteArray& path : paths) {
        struct stat status {};
        if (::stat(path.constData(), &status) != 0)
            continue; // reported when it cannot be moved
        const auto written =
            std::chrono::seconds(status.st_mtim.tv_sec) + std::chrono::nanoseconds(status.st_mtim.tv_nsec);
        const Time time{std::chrono::duration_cast<Time::duration>(written)};
        latest = std::max(latest.value_or(time), time);
    }
    return latest;
}

} // namespace

int run(BDBEnv* env, const QByteArray& target, bool wasAccepted,
        std::optional<std::chrono::system_clock::time_point>* until)
{
    LOG_INFO << "Starting BDBHotBackupThread.log_archive";
    QByteArrayList paths;
    if (const int rc = listUnneededLogs(env, &paths)) {
        LOG_ERROR(LogOrigin::Engine, __LINE__) << "log_archive listing failed for " << target << " rc " << rc;
        return rc;
    }
    LOG_INFO << "Done BDBHotBackupThread.log_archive";
    BackupTarget held(env, target);
    if (const int rc = held.openForShipping()) {
        if (rc != ENOTEMPTY) // which is logged separately
            LOG_WARN << "DB Backup target " << target << " cannot be used rc " << rc;
        if (rc == EBUSY && wasAccepted)
            return 0;
        LOG_ERROR(LogOrigin::Engine, __LINE__) << "log backup failed for " << target;
        return rc;
    }
    if (paths.isEmpty())
        return 0;
    const auto lastWrite = latestWrite(paths); // before they are moved
    LOG_INFO << "Starting BDBHotBackupThread.backupLog " << paths.size();
    if (const int rc = LogShipping::backupLog(target, paths)) {
        LOG_ERROR(LogOrigin::Engine, __LINE__) << "log backup failed for " << target;
        return rc;
    }
    *until = lastWrite;
    LOG_INFO << "Done BDBHotBackupThread.backupLog";
    return 0;
}

} // namespace ShippingCycle

#include "storage/bdbhotbackup.h"

#include "format/backupnames.h"
#include "log/log.h"
#include "storage/bdbenv.h"
#include "storage/logshipping.h"
#include "storage/logtail.h"
#include "storage/settings.h"

#include <QMutexLocker>

#include <cerrno>
#include <cstdlib>
#include <mutex>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace {

constexpr const char* LogOrigin = "bdb";

/**
 * The directory of a full copy, held like the home of an environment while the copy is made. A directory that is the
 * home of an open environment is refused: the copy would cut that environment's files to nothing, its own ones first.
 */
class CopyTarget {
public:
    explicit CopyTarget(const QByteArray& path)
    {
        // An empty name would lead to the root of the file system, and a zero byte would cut the name short.
        if (path.isEmpty() || path.contains('\0')) {
            error_ = ENOENT;
            return;
        }
        descriptor_ = ::open(path.constData(), O_RDONLY | O_DIRECTORY | O_CLOEXEC); // it need not be there yet
        // Only a lock that somebody holds matters: there are file systems without such locks.
        if (descriptor_ >= 0 && ::flock(descriptor_, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK)
            error_ = EBUSY;
    }
    ~CopyTarget()
    {
        if (descriptor_ >= 0)
            ::close(descriptor_);
    }
    CopyTarget(const CopyTarget&) = delete;
    CopyTarget& operator=(const CopyTarget&) = delete;

    /** 0 or an errno value. */
    int error() const { return error_; }

private:
    int descriptor_ = -1;
    int error_ = 0;
};

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

void disableBackup()
{
    LOG_INFO << "Disabling Database Backup";
    Settings::setBackupDisabled(1);
}

BDBHotBackupThread::BDBHotBackupThread(BDBEnv* env, std::chrono::milliseconds period) : env_(env), period_(period) {}

BDBHotBackupThread::~BDBHotBackupThread()
{
    requestStop();
    join();
}

int BDBHotBackupThread::schedule(const QString& target, int mode)
{
    const QMutexLocker locker(&scheduleMutex_);
    switch (mode) {
    case BackupFull:
        if (running_ && mode_ != BackupShipLogs) {
            LOG_WARN << "DB Backup is already running for " << target_.toUtf8();
            return 1;
        }
        requestStop();
        return startThread(target, mode);
    case BackupShipLogs:
        if (running_) {
            LOG_WARN << "thread is already running for target " << target.toUtf8();
            return 1;
        }
        return startThread(target, mode);
    default:
        requestStop();
        mode_ = mode;
        disableBackup();
        return 0;
    }
}

BDBBackupStatus BDBHotBackupThread::status()
{
    const QMutexLocker locker(&scheduleMutex_);
    if (!running_)
        return {};
    const std::lock_guard lock(stopMutex_);
    if (stopFlag_)
        return {BDBBackupStatus::Stopping, target_};
    return {mode_ == BackupShipLogs ? BDBBackupStatus::Shipping : BDBBackupStatus::Copying, target_};
}

/** Clears the flags before the thread runs, so that a stop which follows at once is not lost. */
int BDBHotBackupThread::startThread(const QString& target, int mode)
{
    join(); // one that runs no more, or was told to stop
    target_ = target;
    mode_ = mode;
    {
        const std::lock_guard lock(stopMutex_);
        stopFlag_ = false;
    }
    const int wasDisabled = Settings::backupDisabled();
    Settings::setBackupDisabled(0); // from here on no checkpoint removes log files
    running_ = true;
    try {
        thread_ = std::thread([this, mode] { run(mode); });
        return 0;
    } catch (const std::system_error& error) {
        running_ = false;
        Settings::setBackupDisabled(wasDisabled);
        LOG_WARN << "DB Backup thread could not be started " << error.code().value();
        return 1;
    }
}

void BDBHotBackupThread::join()
{
    if (thread_.joinable())
        thread_.join();
}

void BDBHotBackupThread::requestStop()
{
    const std::lock_guard lock(stopMutex_);
    stopFlag_ = true;
    stopChanged_.notify_all();
}

/** After a full copy; false when the thread is to end instead. */
bool BDBHotBackupThread::goOnToShipping()
{
    const std::lock_guard lock(stopMutex_); // a stop sets its flag first, and then the mode
    if (!stopFlag_)
        mode_ = BackupShipLogs;
    return !stopFlag_;
}

/** False when the thread is to end instead. */
bool BDBHotBackupThread::sleepUntilNextCycle()
{
    std::unique_lock lock(stopMutex_);
    return !stopChanged_.wait_for(lock, period_, [this] { return stopFlag_; });
}

void BDBHotBackupThread::run(int mode)
{
    work(mode);
    running_ = false;
}

/** `mode` is what was asked for; a stop that came since does not make it something else. */
void BDBHotBackupThread::work(int mode)
{
    // A quiet end leaves `backupDisabled` as it is: whoever asked for the stop has seen to it.
    if (mode == BackupFull) {
        if (fullBackup() != 0)
            return disableBackup();
        if (!goOnToShipping())
            return;
    }
    do {
        if (shipLogs() != 0)
            return disableBackup();
    } while (sleepUntilNextCycle());
}

int BDBHotBackupThread::fullBackup()
{
    const QByteArray target = target_.toUtf8();
    LOG_INFO << "Starting BDBHotBackupThread.backup";
    const CopyTarget held(target);
    std::uint32_t neededLog = 0;
    LogPosition copied;
    int rc = held.error();
    if (rc == 0)
        rc = firstNeededLogFile(env_, &neededLog);
    if (rc == DB_NOTFOUND) {
        // A fresh environment, whose first checkpoint is only just under way. Berkeley DB copies none without a log.
        rc = env_->txn_checkpoint(0, 0, DB_FORCE);
        if (rc == 0)
            rc = firstNeededLogFile(env_, &neededLog);
    }
    if (rc == 0)
        rc = flushedLogPosition(env_, &copied);
    if (rc == 0)
        rc = env_->DbEnv::backup(target.constData(), DB_CREATE | DB_BACKUP_SINGLE_DIR);
    if (rc == 0)
        rc = leaveOwnLogs(neededLog, copied.file);
    if (rc == 0)
        rc = copyLogSince(&copied);
    if (rc != 0)
        return backupFailed(rc);

    // What was acknowledged before the marker is gone is in the copy: no transaction commits between the copy of the
    // log's last records and the deletion. All but those few records were copied before, so the pause is short.
    const std::unique_lock noCommits(env_->commitGate());
    if ((rc = copyLogSince(&copied)) != 0)
        return backupFailed(rc);
    LOG_INFO << "Done BDBHotBackupThread.backup";
    // Kept: also when nobody had made the marker. Whoever asked cannot tell then whether the copy is complete.
    if (::unlink((target + '/' + BackupNames::Marker).constData()) != 0) {
        LOG_ERROR(LogOrigin, __LINE__) << "Failed to del temp file from " << target;
        return 2;
    }
    return 0;
}

int BDBHotBackupThread::backupFailed(int rc)
{
    LOG_ERROR(LogOrigin, __LINE__) << "Dbenv backup failed rc " << rc;
    return rc;
}

/**
 * Makes sure that the copy has the log files that it needs, from `needed` on, and removes all that earlier backups left
 * in the target. When a backup is stopped, or fails, in whatever environment, checkpoints remove log files again; one
 * in the middle of a copy takes away what happened between the pages copied first and itself. ENOENT then.
 */
int BDBHotBackupThread::leaveOwnLogs(std::uint32_t needed, std::uint32_t last)
{
    std::uint32_t first = 0;
    if (const int rc = firstLogFile(env_, &first))
        return rc;
    return first <= needed ? removeEarlierLogs(target_.toUtf8(), first, last) : ENOENT;
}

/** Copies what the log has gained since `*position`, and moves that on. */
int BDBHotBackupThread::copyLogSince(LogPosition* position)
{
    LogPosition now;
    if (const int rc = flushedLogPosition(env_, &now))
        return rc;
    if (const int rc = copyLogRange(env_, target_.toUtf8(), *position, now))
        return rc;
    *position = now;
    return 0;
}

int BDBHotBackupThread::shipLogs()
{
    const QByteArray target = target_.toUtf8();
    LOG_INFO << "Starting BDBHotBackupThread.log_archive";
    QByteArrayList paths;
    if (const int rc = listUnneededLogs(env_, &paths)) {
        LOG_ERROR(LogOrigin, __LINE__) << "log_archive listing failed for " << target << " rc " << rc;
        return rc;
    }
    LOG_INFO << "Done BDBHotBackupThread.log_archive";
    if (paths.isEmpty())
        return 0;
    LOG_INFO << "Starting BDBHotBackupThread.backupLog " << paths.size();
    if (const int rc = backupLog(target, paths)) {
        LOG_ERROR(LogOrigin, __LINE__) << "log backup failed for " << target;
        return rc;
    }
    LOG_INFO << "Done BDBHotBackupThread.backupLog";
    return 0;
}

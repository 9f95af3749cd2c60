#include "storage/bdbhotbackup.h"

#include "base/filesync.h"
#include "format/backupnames.h"
#include "log/log.h"
#include "storage/bdbenv.h"
#include "storage/boundedhold.h"
#include "storage/environmentcopy.h"
#include "storage/settings.h"
#include "storage/shippingcycle.h"

#include <QMutexLocker>

#include <algorithm>
#include <cerrno>
#include <mutex>
#include <system_error>

#include <unistd.h>

namespace {

constexpr const char* LogOrigin = "bdb";

// How long commits wait for a slow target to write its last few bytes, in the first and the last try, doubling in
// between. If it never succeeds, the backup fails.
constexpr std::chrono::milliseconds FirstHold{250};
constexpr std::chrono::milliseconds LongestHold{4000};

} // namespace

void BDBHotBackupThread::disableBackup()
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
        if (running_ && !isShipping()) {
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
        setMode(mode);
        env_->logHold().release();
        disableBackup();
        return 0;
    }
}

BDBBackupStatus BDBHotBackupThread::status() const
{
    const std::lock_guard lock(statusMutex_);
    return status_;
}

void BDBHotBackupThread::setStatus(const BDBBackupStatus& status)
{
    const std::lock_guard lock(statusMutex_);
    status_ = status;
}

void BDBHotBackupThread::noteUntil(BDBBackupStatus::Time time)
{
    const std::lock_guard lock(statusMutex_);
    status_.until = std::max(status_.until.value_or(time), time);
}

/** Clears the flags before the thread runs, so that an immediate stop is not lost. */
int BDBHotBackupThread::startThread(const QString& target, int mode)
{
    join(); // one that has ended, or was asked to stop
    if (env_->logHold().take(target.toUtf8(), mode == BackupFull ? LogHold::Copy : LogHold::Shipping) != 0)
        return 1;
    target_ = target;
    {
        const std::lock_guard lock(stopMutex_);
        mode_ = mode;
        stopFlag_ = false;
    }
    const int wasDisabled = Settings::backupDisabled();
    Settings::setBackupDisabled(0); // from here on no checkpoint removes log files
    running_ = true;
    const auto state = mode == BackupFull ? BDBBackupStatus::Copying : BDBBackupStatus::Shipping;
    setStatus({state, target, std::chrono::system_clock::now(), std::nullopt});
    try {
        thread_ = std::thread([this, mode] { run(mode); });
        return 0;
    } catch (const std::system_error& error) {
        running_ = false;
        setStatus({});
        Settings::setBackupDisabled(wasDisabled);
        env_->logHold().fail();
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
    const std::lock_guard statusLock(statusMutex_);
    if (status_.state != BDBBackupStatus::None)
        status_.state = BDBBackupStatus::Stopping;
}

void BDBHotBackupThread::setMode(int mode)
{
    const std::lock_guard lock(stopMutex_);
    mode_ = mode;
}

bool BDBHotBackupThread::isShipping()
{
    const std::lock_guard lock(stopMutex_);
    return mode_ == BackupShipLogs;
}

/** After a full copy; false if the thread is to end instead. */
bool BDBHotBackupThread::goOnToShipping()
{
    const std::lock_guard lock(stopMutex_);
    const std::lock_guard statusLock(statusMutex_);
    if (!stopFlag_)
        status_.state = BDBBackupStatus::Shipping;
    return !stopFlag_;
}

/** False if the thread is to end instead. */
bool BDBHotBackupThread::sleepUntilNextCycle()
{
    std::unique_lock lock(stopMutex_);
    return !stopChanged_.wait_for(lock, period_, [this] { return stopFlag_; });
}

void BDBHotBackupThread::run(int mode)
{
    work(mode);
    running_ = false; // first: whoever sees that it has ended may begin the next one
    setStatus({});
}

/** `mode` is the original order; a stop since then does not change it. */
void BDBHotBackupThread::work(int mode)
{
    // Kept: any failure of a backup lets checkpoints of all environments remove log files, even if its target was
    // refused and nothing had begun. Operators recognize a failed backup by that line.
    //
    // A requested stop leaves `backupDisabled` as it is: the requester takes care of it.
    if (mode == BackupFull) {
        if (fullBackup() != 0)
            return fail();
        env_->logHold().settle();
        if (!goOnToShipping())
            return;
    }
    for (bool wasAccepted = mode == BackupFull;; wasAccepted = true) {
        std::optional<BDBBackupStatus::Time> until;
        if (ShippingCycle::run(env_, target_.toUtf8(), wasAccepted, &until) != 0)
            return fail();
        env_->logHold().settle();
        if (until)
            noteUntil(*until);
        if (!sleepUntilNextCycle())
            return;
    }
}

void BDBHotBackupThread::fail()
{
    env_->logHold().fail();
    disableBackup();
}

int BDBHotBackupThread::fullBackup()
{
    LOG_INFO << "Starting BDBHotBackupThread.backup";
    EnvironmentCopy copy(env_, target_.toUtf8());
    int rc = copy.begin();
    if (rc == 0)
        rc = copy.copy();
    for (std::chrono::milliseconds limit = FirstHold; rc == 0 && limit <= LongestHold; limit *= 2) {
        // Everything acknowledged before the marker is gone is in the copy: no transaction commits between the copy of
        // the log's last records and the deletion. Those are few, so the pause is short. If the target is slow, commits
        // resume, and the step is retried with what was written since.
        BoundedHold noCommits;
        rc = noCommits.begin(env_->commitGate(), limit);
        const BDBBackupStatus::Time noCommitSince = std::chrono::system_clock::now();
        if (rc == 0)
            rc = copy.catchUp();
        if (rc == 0)
            rc = copy.writeList();
        if (rc != 0)
            break;
        bool deleted = false;
        if (noCommits.whileHeld([&] { deleted = deleteMarker(copy.path()); })) {
            if (!deleted || Base::syncToDisk(copy.path()) != 0)
                return markerFailed();
            noteUntil(noCommitSince);
            return 0;
        }
        noCommits.end();
        rc = copy.catchUp();
    }
    copy.dropLog();
    return backupFailed(rc != 0 ? rc : ETIMEDOUT);
}

/**
 * In one step for schedule(): whoever sees that the marker is gone may request another full backup.
 *
 * Kept: fails even if the marker never existed, as the requester cannot tell then whether the copy is complete.
 */
bool BDBHotBackupThread::deleteMarker(const std::filesystem::path& target)
{
    LOG_INFO << "Done BDBHotBackupThread.backup";
    const std::lock_guard lock(stopMutex_);
    if (::unlink((target / BackupNames::Marker).c_str()) != 0)
        return false;
    if (!stopFlag_)
        mode_ = BackupShipLogs;
    return true;
}

int BDBHotBackupThread::markerFailed()
{
    LOG_ERROR(LogOrigin, __LINE__) << "Failed to del temp file from " << target_.toUtf8();
    return 2;
}

int BDBHotBackupThread::backupFailed(int rc)
{
    LOG_ERROR(LogOrigin, __LINE__) << "Dbenv backup failed rc " << rc;
    return rc;
}

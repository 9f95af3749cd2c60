#include "storage/bdbhotbackup.h"

#include "log/log.h"
#include "storage/bdbenv.h"
#include "storage/settings.h"

#include <QMutexLocker>

#include <algorithm>
#include <mutex>
#include <system_error>

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
    const std::scoped_lock lock(stopMutex_, statusMutex_);
    stopFlag_ = true;
    stopChanged_.notify_all();
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
    const std::scoped_lock lock(stopMutex_, statusMutex_);
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

/* The background threads of an environment. */
#include "storage/bdbcacheflushthread.h"
#include "storage/bdbcheckpointthread.h"
#include "storage/bdbenv.h"
#include "storage/bdbhotbackup.h"
#include "storage/bdblockdetectthread.h"
#include "storage/bdbstatprintthread.h"
#include "storage/enginecalls.h"
#include "storage/logflusher.h"
#include "storage/logpreparation.h"

#include <array>
#include <cerrno>
#include <memory>

bool BDBEnv::writesLogSynchronously()
{
    int enabled = 0;
    return log_get_config(DB_LOG_DSYNC, &enabled) == 0 && enabled != 0;
}

int BDBEnv::startThreads()
{
    if (directories_.preparesLogFiles() && !writesLogSynchronously() && EngineCalls::areReplaced()) {
        logPreparation_ = std::make_unique<LogPreparation>(this, directories_.logs());
        if (!logPreparation_->isRunning())
            return EAGAIN;
    }
    lockDetectThread_ = std::make_unique<BDBLockDetectThread>(this);
    checkpointThread_ = std::make_unique<BDBCheckpointThread>(this);
    statPrintThread_ = std::make_unique<BDBStatPrintThread>(this);
    cacheFlushThread_ = std::make_unique<BDBCacheFlushThread>(this);
    hotBackupThread_ = std::make_unique<BDBHotBackupThread>(this);
    const std::array<const MaintenanceThread*, 4> threads = {lockDetectThread_.get(), checkpointThread_.get(),
                                                             statPrintThread_.get(), cacheFlushThread_.get()};
    for (const MaintenanceThread* thread : threads) {
        if (thread->state() == MaintenanceThread::Stopped)
            return EAGAIN; // an environment without its background threads is not opened
    }
    sampler_ = std::make_unique<EngineSampler>(
        [this](EngineFigures* figures) { return EngineFigures::read(this, directories_.logs(), figures); });
    logFlusher_ = std::make_unique<LogFlusher>(this);
    return logFlusher_->isRunning() ? 0 : EAGAIN;
}

void BDBEnv::stopThreads()
{
    // There may be none, or only the first ones, if open() failed or ran out of memory.
    const std::array<MaintenanceThread*, 4> threads = {checkpointThread_.get(), lockDetectThread_.get(),
                                                       statPrintThread_.get(), cacheFlushThread_.get()};
    // Stop all of them before waiting for the first.
    for (MaintenanceThread* thread : threads) {
        if (thread != nullptr)
            thread->stop();
    }
    if (hotBackupThread_)
        hotBackupThread_->requestStop();

    for (MaintenanceThread* thread : threads) {
        if (thread != nullptr)
            thread->waitStopped();
    }
    hotBackupThread_.reset(); // its destructor waits
    logFlusher_.reset();      // likewise
    sampler_.reset();         // likewise
    logPreparation_.reset();  // last: the others tell it what they flush
}

BDBBackupStatus BDBEnv::backupStatus()
{
    return hotBackupThread_ ? hotBackupThread_->status() : BDBBackupStatus();
}

int BDBEnv::backup(const QString& target, int mode)
{
    return hotBackupThread_ ? hotBackupThread_->schedule(target, mode) : 3;
}

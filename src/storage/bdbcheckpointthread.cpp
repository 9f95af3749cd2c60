#include "storage/bdbcheckpointthread.h"

#include "log/log.h"
#include "storage/bdbenv.h"
#include "storage/loghold.h"

#include <cstdlib>

namespace {

void removeLogs(BDBEnv* env)
{
    LOG_INFO << "Starting BDBCheckpointThread.log_archive";
    char** list = nullptr;
    const int rc = env->log_archive(&list, DB_ARCH_REMOVE);
    std::free(list);
    if (rc == 0)
        LOG_INFO << "Done BDBCheckpointThread.log_archive";
    else
        LOG_ERROR(LogOrigin::Engine, __LINE__) << "log_archive failed " << rc;
}

} // namespace

BDBCheckpointThread::BDBCheckpointThread(BDBEnv* env, std::chrono::milliseconds period) : MaintenanceThread(env, period)
{
    start();
}

void BDBCheckpointThread::cycle()
{
    LOG_INFO << "Starting txn_checkpoint";
    if (const int rc = env()->txn_checkpoint(0, 0, 0)) {
        // Kept: ends the server for all environments as soon as data in one is at risk.
        if (!env()->hasContent()) {
            LOG_ERROR(LogOrigin::Engine, __LINE__) << "txn_checkpoint failed rc " << rc;
            return;
        }
        LOG_ERROR(LogOrigin::Engine, __LINE__) << "txn_checkpoint failed rc " << rc << " exiting Quorva";
        std::_Exit(1); // without destructors: requests are still running
    }
    const LogHold::Removal removal(env()->logHold());
    const int removes = removal.isAllowed() ? 1 : 0;
    LOG_INFO << "Done txn_checkpoint " << removes;
    if (removes != 0)
        removeLogs(env());
}

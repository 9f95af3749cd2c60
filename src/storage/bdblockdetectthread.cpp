#include "storage/bdblockdetectthread.h"

#include "storage/bdbenv.h"

BDBLockDetectThread::BDBLockDetectThread(BDBEnv* env, std::chrono::milliseconds period) : MaintenanceThread(env, period)
{
    start();
}

void BDBLockDetectThread::cycle()
{
    (void)env()->lock_detect(0, DB_LOCK_YOUNGEST, nullptr); // ignored: the next cycle retries
}

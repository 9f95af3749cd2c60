#include "storage/bdbcacheflushthread.h"

#include "log/log.h"
#include "storage/bdbenv.h"

namespace {

constexpr int CleanPercent = 30;

} // namespace

BDBCacheFlushThread::BDBCacheFlushThread(BDBEnv* env, std::chrono::milliseconds period) : MaintenanceThread(env, period)
{
    start();
}

void BDBCacheFlushThread::cycle()
{
    int written = 0;
    if (const int rc = env()->memp_trickle(CleanPercent, &written))
        LOG_ERROR(LogOrigin::Engine, __LINE__) << "cache flusher failed " << rc;
}

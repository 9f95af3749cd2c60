#include "storage/bdbstatprintthread.h"

#include "log/log.h"
#include "storage/bdbenv.h"
#include "storage/settings.h"

#include <ctime>

namespace {

/** The time as one line; its own newline adds an empty one. */
void printTime()
{
    const std::time_t now = std::time(nullptr);
    char text[64];
    if (ctime_r(&now, text) != nullptr)
        Log::writeRaw(text);
}

} // namespace

BDBStatPrintThread::BDBStatPrintThread(BDBEnv* env, std::chrono::milliseconds period) : MaintenanceThread(env, period)
{
    start();
}

void BDBStatPrintThread::cycle()
{
    const int level = Settings::statLevel();
    if (level < 4)
        return;
    // The results are ignored: the next cycle tries again.
    printTime();
    (void)env()->lock_stat_print(0);
    if (level >= 8)
        (void)env()->txn_stat_print(0);
    if (level >= 12)
        (void)env()->mutex_stat_print(0);
    if (level >= 16)
        (void)env()->log_stat_print(0);
    if (level >= 20)
        (void)env()->memp_stat_print(0);
}

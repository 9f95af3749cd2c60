#include "storage/enginefigures.h"

#include "base/directoryentries.h"
#include "format/logfiles.h"

#include <db_cxx.h>

#include <cstdlib>
#include <memory>

#include <sys/stat.h>

namespace {

struct Free {
    void operator()(void* statistics) const { std::free(statistics); }
};
template <typename Statistics> using Owned = std::unique_ptr<Statistics, Free>;

/** `read`: an `int(Statistics**)` callable; null on failure. */
template <typename Statistics, typename Read> Owned<Statistics> statisticsOf(Read read, int* rc)
{
    Statistics* statistics = nullptr;
    *rc = read(&statistics);
    return Owned<Statistics>(*rc == 0 ? statistics : nullptr);
}

int readCache(DbEnv* env, EngineFigures* figures)
{
    int rc = 0;
    const auto cache = statisticsOf<DB_MPOOL_STAT>(
        [env](DB_MPOOL_STAT** statistics) { return env->memp_stat(statistics, nullptr, 0); }, &rc);
    if (cache == nullptr)
        return rc;
    constexpr std::uint64_t Gibibyte = 1ULL << 30;
    figures->cacheBytes = cache->st_gbytes * Gibibyte + cache->st_bytes;
    figures->cachePages = cache->st_pages;
    figures->dirtyPages = cache->st_page_dirty;
    figures->cacheHits = cache->st_cache_hit;
    figures->cacheMisses = cache->st_cache_miss;
    return 0;
}

int readLocks(DbEnv* env, EngineFigures* figures)
{
    int rc = 0;
    const auto locks =
        statisticsOf<DB_LOCK_STAT>([env](DB_LOCK_STAT** statistics) { return env->lock_stat(statistics, 0); }, &rc);
    if (locks == nullptr)
        return rc;
    figures->lockWaits = locks->st_lock_wait;
    figures->deadlocks = locks->st_ndeadlocks;
    return 0;
}

int readLog(DbEnv* env, EngineFigures* figures)
{
    int rc = 0;
    const auto log =
        statisticsOf<DB_LOG_STAT>([env](DB_LOG_STAT** statistics) { return env->log_stat(statistics, 0); }, &rc);
    if (log == nullptr)
        return rc;
    figures->logFile = log->st_cur_file;
    figures->logOffset = log->st_cur_offset;
    return 0;
}

/**
 * Files that vanish meanwhile do not count. Berkeley DB makes a log file as long as it may become, but what it has not
 * written yet takes no room.
 */
void measureLogFiles(const std::filesystem::path& logs, EngineFigures* figures)
{
    constexpr std::uint64_t BlockBytes = 512; // of st_blocks, whatever the file system's are
    // Ignored: what cannot be read is not there.
    (void)Base::forEachEntry(logs, [&](const std::filesystem::directory_entry& entry) {
        struct stat status {};
        if (LogFiles::numberOf(entry.path().filename().string()) && ::stat(entry.path().c_str(), &status) == 0 &&
            S_ISREG(status.st_mode)) {
            ++figures->logFiles;
            figures->logBytes += static_cast<std::uint64_t>(status.st_blocks) * BlockBytes;
        }
        return 0;
    });
}

} // namespace

int EngineFigures::read(DbEnv* env, const std::filesystem::path& logs, EngineFigures* figures)
{
    EngineFigures found;
    found.time = std::chrono::system_clock::now();
    if (const int rc = readCache(env, &found))
        return rc;
    if (const int rc = readLocks(env, &found))
        return rc;
    if (const int rc = readLog(env, &found))
        return rc;
    measureLogFiles(logs, &found);
    *figures = found;
    return 0;
}

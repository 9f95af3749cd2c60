#include "storage/bdbcacheflushthread.h"

#include "maintenancesupport.h"
#include "storage/bdbtxn.h"
#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdlib>
#include <memory>
#include <string>

namespace {

using namespace std::chrono_literals;

struct PageCounts {
    u_int32_t all = 0; // in the cache at the moment
    u_int32_t dirty = 0;
};

PageCounts pageCounts(TempEnv& env)
{
    DB_MPOOL_STAT* statistics = nullptr;
    EXPECT_EQ(env->memp_stat(&statistics, nullptr, 0), 0);
    const PageCounts counts{statistics->st_pages, statistics->st_page_dirty};
    std::free(statistics);
    return counts;
}

TEST(BDBCacheFlushThread, WritesDirtyPagesUntilAShareOfTheCacheIsClean)
{
    TempEnv env;
    BDBIndex* db = env.index("small.db");
    std::string value(1000, 'x');
    BDBTxn txn;
    ASSERT_EQ(txn.begin(env.get(), 0), 0);
    for (int i = 0; i < 15000; ++i) { // nearly as much as the cache holds
        Dbt key(&i, sizeof i);
        Dbt data(value.data(), static_cast<u_int32_t>(value.size()));
        ASSERT_EQ(db->put(&txn, &key, &data, 0), 0);
    }
    ASSERT_EQ(txn.commit(DB_TXN_NOSYNC), 0);
    const LogCapture log(LogInfo);
    const PageCounts before = pageCounts(env);
    ASSERT_GT(before.dirty, before.all * 7 / 10);
    BDBCacheFlushThread thread(env.get(), 24h);
    EXPECT_TRUE(waitUntil([&] { return pageCounts(env).dirty <= before.all * 7 / 10; }));
    thread.stop();
    thread.waitStopped();
    EXPECT_GT(pageCounts(env).dirty, 0U) << "a share, not all";
    EXPECT_EQ(log.count("cache flusher failed"), 0U);
}

TEST(BDBCacheFlushThread, AFailureIsLoggedAndTheThreadContinues)
{
    (void)linesOfFailures<BDBCacheFlushThread>("cache flusher failed -30973", 2); // ignored: it waits for the line
}

} // namespace

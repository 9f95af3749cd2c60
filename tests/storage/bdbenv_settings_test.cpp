// The flags and settings that an environment is opened with.
#include "storage/bdbenv.h"

#include "rows.h"
#include "storage/bdbindex.h"
#include "storage/bdbtxn.h"
#include "support/background.h"
#include "support/tempenv.h"
#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <future>
#include <memory>

#include <sys/stat.h>

namespace {

TEST(BDBEnvOpen, UsesTheFlagsOfARecoveringPrivateTransactionalEnvironment)
{
    TempEnv env;
    u_int32_t flags = 0;
    EXPECT_EQ(env->get_open_flags(&flags), 0);
    EXPECT_EQ(flags, 0x16723U);
    EXPECT_EQ(env->get_flags(&flags), 0);
    EXPECT_EQ(flags, static_cast<u_int32_t>(DB_AUTO_COMMIT)); // no timeouts, no automatic log removal, nothing else
    int on = 0;
    EXPECT_EQ(env->log_get_config(DB_LOG_DSYNC, &on), 0);
    EXPECT_EQ(on, 1);
    EXPECT_EQ(env->log_get_config(DB_LOG_AUTO_REMOVE, &on), 0);
    EXPECT_EQ(on, 0);
}

TEST(BDBEnvOpen, CacheIsSixteenMebibytesInOneRegion)
{
    TempEnv env;
    u_int32_t gigabytes = 1;
    u_int32_t bytes = 0;
    int regions = 0;
    EXPECT_EQ(env->get_cachesize(&gigabytes, &bytes, &regions), 0);
    EXPECT_EQ(gigabytes, 0U);
    EXPECT_EQ(regions, 1);
    // The library adds a quarter and a few pages for its own housekeeping.
    constexpr u_int32_t Asked = 16 * 1024 * 1024;
    EXPECT_GE(bytes, Asked);
    EXPECT_LT(bytes, Asked + Asked / 2);
}

TEST(BDBEnvOpen, BuffersTheLogInOneMebibyte)
{
    TempEnv env;
    u_int32_t bytes = 0;
    EXPECT_EQ(env->get_lg_bsize(&bytes), 0);
    EXPECT_EQ(bytes, 1048576U);
}

TEST(BDBEnvOpen, LeavesOtherSizesAtTheDefaultsOfTheLibrary)
{
    TempEnv env;
    const TempDir temp;
    DbEnv plain(DB_CXX_NO_EXCEPTIONS);
    ASSERT_EQ(plain.open(temp.path().c_str(),
                         DB_CREATE | DB_THREAD | DB_INIT_LOCK | DB_INIT_LOG | DB_INIT_MPOOL | DB_INIT_TXN | DB_PRIVATE,
                         0),
              0);
    using Getter = int (DbEnv::*)(u_int32_t*);
    for (const Getter getter : {&DbEnv::get_lg_max, &DbEnv::get_lk_max_locks, &DbEnv::get_lk_max_lockers,
                                &DbEnv::get_lk_max_objects, &DbEnv::get_tx_max}) {
        u_int32_t ours = 1;
        u_int32_t theirs = 2;
        EXPECT_EQ((env.get()->*getter)(&ours), 0);
        EXPECT_EQ((plain.*getter)(&theirs), 0);
        EXPECT_EQ(ours, theirs);
    }
    for (const u_int32_t kind : {DB_SET_LOCK_TIMEOUT, DB_SET_TXN_TIMEOUT}) {
        db_timeout_t timeout = 1;
        EXPECT_EQ(env->get_timeout(&timeout, kind), 0);
        EXPECT_EQ(timeout, 0U);
    }
    EXPECT_EQ(plain.close(0), 0);
}

TEST(BDBEnvOpen, DirectoriesBelowHomeAreForTheOwnerOnly)
{
    TempEnv env;
    const char* mode = nullptr;
    EXPECT_EQ(env->get_intermediate_dir_mode(&mode), 0);
    EXPECT_STREQ(mode, "rwx------");
    (void)env.index("below/home/orders");
    for (const char* name : {"below", "below/home"}) {
        struct stat status {};
        ASSERT_EQ(stat(env.file(name).c_str(), &status), 0) << name;
        EXPECT_EQ(status.st_mode & 07777U, 0700U) << name;
    }
}

TEST(BDBEnvOpen, ListsThatComeBackAreFreedWithFree)
{
    TempEnv env;
    void* (*allocate)(size_t) = nullptr;
    void* (*reallocate)(void*, size_t) = nullptr;
    void (*release)(void*) = nullptr;
    EXPECT_EQ(env->get_alloc(&allocate, &reallocate, &release), 0);
    EXPECT_EQ(allocate, &std::malloc);
    EXPECT_EQ(reallocate, &std::realloc);
    EXPECT_EQ(release, &std::free);
}

TEST(BDBEnvOpen, BreaksADeadlockWhenALockMustWaitAndTheYoungestLoses)
{
    TempEnv env;
    u_int32_t policy = 0;
    EXPECT_EQ(env->get_lk_detect(&policy), 0);
    EXPECT_EQ(policy, static_cast<u_int32_t>(DB_LOCK_YOUNGEST));

    BDBIndex* orders = env.index("orders");
    BDBIndex* stock = env.index("stock");
    BDBTxn older;
    BDBTxn younger;
    ASSERT_EQ(older.begin(env.get(), 0), 0);
    ASSERT_EQ(younger.begin(env.get(), 0), 0);
    ASSERT_EQ(putRow(orders, &older, "row", "older"), 0);
    ASSERT_EQ(putRow(stock, &younger, "row", "younger"), 0);
    const auto statistics = [&] {
        DB_LOCK_STAT* all = nullptr;
        EXPECT_EQ(env->lock_stat(&all, 0), 0);
        const std::unique_ptr<DB_LOCK_STAT, decltype(&std::free)> owned(all, &std::free);
        return *owned;
    };
    const auto waitsBefore = statistics().st_lock_wait;
    auto blocked = inBackground([&] {
        const int rc = putRow(stock, &older, "row", "older");
        if (rc != 0)
            (void)older.abort(); // or the other would wait forever if the wrong one lost
        return rc;
    });
    ASSERT_TRUE(waitUntil([&] { return statistics().st_lock_wait > waitsBefore; }));
    EXPECT_EQ(putRow(orders, &younger, "row", "younger"), DB_LOCK_DEADLOCK);
    EXPECT_EQ(statistics().st_ndeadlocks, 1U);
    EXPECT_EQ(younger.abort(), 0);
    EXPECT_EQ(blocked.get(), 0);
    EXPECT_EQ(older.commit(0), 0);
    EXPECT_EQ(rowOf(orders, nullptr, "row"), "older");
    EXPECT_EQ(rowOf(stock, nullptr, "row"), "older");
}

} // namespace

#include "storage/bdblockdetectthread.h"

#include "storage/bdbenv.h"
#include "support/logcapture.h"
#include "support/tempdir.h"

#include <gtest/gtest.h>

#include <chrono>
#include <thread>

namespace {

using namespace std::chrono_literals;

TEST(BDBLockDetectThread, FailsTheYoungestOfTwoThatWaitForEachOther)
{
    // Not opened as by the server: an environment of the server breaks deadlocks itself, as they arise.
    const TempDir home;
    BDBEnv env(16, DB_CXX_NO_EXCEPTIONS);
    constexpr db_timeout_t Minute = 60'000'000; // microseconds; ends the test if nothing breaks the deadlock
    ASSERT_EQ(env.set_timeout(Minute, DB_SET_LOCK_TIMEOUT), 0);
    ASSERT_EQ(env.DbEnv::open(
                  home.path().c_str(),
                  DB_CREATE | DB_INIT_LOCK | DB_INIT_LOG | DB_INIT_MPOOL | DB_INIT_TXN | DB_PRIVATE | DB_THREAD, 0),
              0);
    u_int32_t older = 0;
    u_int32_t younger = 0;
    ASSERT_EQ(env.lock_id(&older), 0);
    ASSERT_EQ(env.lock_id(&younger), 0);
    char names[] = "ab";
    Dbt a(names, 1);
    Dbt b(names + 1, 1);
    DbLock lockA;
    DbLock lockB;
    ASSERT_EQ(env.lock_get(older, 0, &a, DB_LOCK_WRITE, &lockA), 0);
    ASSERT_EQ(env.lock_get(younger, 0, &b, DB_LOCK_WRITE, &lockB), 0);

    const LogCapture log;
    int olderResult = -1;
    int youngerResult = -1;
    DbLock olderWaits;
    DbLock youngerWaits;
    std::thread first([&] { olderResult = env.lock_get(older, 0, &b, DB_LOCK_WRITE, &olderWaits); });
    std::thread second([&] {
        youngerResult = env.lock_get(younger, 0, &a, DB_LOCK_WRITE, &youngerWaits);
        EXPECT_EQ(env.lock_put(&lockB), 0); // it gives up, and the other continues
    });
    BDBLockDetectThread detector(&env, 1ms);
    first.join();
    second.join();
    detector.stop();
    detector.waitStopped();
    EXPECT_EQ(olderResult, 0);
    EXPECT_EQ(youngerResult, DB_LOCK_DEADLOCK);
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(env.lock_put(&lockA), 0);
    EXPECT_EQ(env.lock_put(&olderWaits), 0);
    EXPECT_EQ(env.lock_id_free(older), 0);
    EXPECT_EQ(env.lock_id_free(younger), 0);
}

} // namespace

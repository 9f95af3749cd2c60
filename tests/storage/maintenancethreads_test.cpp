#include "storage/bdbcacheflushthread.h"
#include "storage/bdbcheckpointthread.h"
#include "storage/bdblockdetectthread.h"
#include "storage/bdbstatprintthread.h"
#include "storage/bdbtxn.h"
#include "storage/maintenanceperiods.h"
#include "storage/settings.h"
#include "support/logcapture.h"
#include "support/tempenv.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;

/** Puts the process-wide settings back when a test ends. */
struct RestoredSettings {
    ~RestoredSettings()
    {
        Settings::setBackupDisabled(0);
        Settings::setStatLevel(0);
    }
};

int logFiles(const std::string& directory)
{
    namespace fs = std::filesystem;
    return static_cast<int>(
        std::count_if(fs::directory_iterator(directory), fs::directory_iterator(),
                      [](const auto& entry) { return entry.path().filename().string().starts_with("log."); }));
}

/** Writes until the environment has this many log files of 10 MB each. */
void fillLogs(TempEnv& env, int wanted)
{
    for (int i = 0; logFiles(env.path()) < wanted; ++i)
        env.put("filler.db", i, 1'000'000);
}

/**
 * An environment whose own thread is through with its first checkpoint: one that ended only after a test had written
 * would leave nothing to do for the test's checkpoint.
 */
std::unique_ptr<TempEnv> quietEnv()
{
    const LogCapture opening(LogInfo);
    auto env = std::make_unique<TempEnv>();
    EXPECT_TRUE(opening.waitFor("Done txn_checkpoint"));
    return env;
}

struct PageCounts {
    u_int32_t all = 0; // that the cache holds right now
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

} // namespace

TEST(MaintenancePeriods, AreTheDocumentedOnes)
{
    EXPECT_EQ(MaintenancePeriods::LockDetect, 4s);
    EXPECT_EQ(MaintenancePeriods::Checkpoint, 300s);
    EXPECT_EQ(MaintenancePeriods::CacheFlush, 300s);
    EXPECT_EQ(MaintenancePeriods::StatPrint, 60s);
    EXPECT_EQ(MaintenancePeriods::LogShipping, 300s);
}

TEST(BDBCheckpointThread, KeepsLogFilesWhileABackupMayWantThem)
{
    const RestoredSettings restored;
    const std::unique_ptr<TempEnv> env = quietEnv();
    fillLogs(*env, 3);
    const LogCapture log(LogInfo);
    BDBCheckpointThread thread(env->get(), 24h);
    ASSERT_TRUE(log.waitFor("Done txn_checkpoint"));
    thread.stop();
    thread.waitStopped();
    EXPECT_EQ(log.lines(), (std::vector{"[INFO] Starting txn_checkpoint"s, "[INFO] Done txn_checkpoint 0"s}));
    EXPECT_EQ(logFiles(env->path()), 3);
}

TEST(BDBCheckpointThread, RemovesUnneededLogFilesOnceBackupIsDisabled)
{
    const RestoredSettings restored;
    const std::unique_ptr<TempEnv> env = quietEnv();
    fillLogs(*env, 3);
    Settings::setBackupDisabled(1);
    const LogCapture log(LogInfo);
    BDBCheckpointThread thread(env->get(), 24h);
    ASSERT_TRUE(log.waitFor("Done BDBCheckpointThread.log_archive"));
    thread.stop();
    thread.waitStopped();
    EXPECT_EQ(log.lines(), (std::vector{"[INFO] Starting txn_checkpoint"s, "[INFO] Done txn_checkpoint 1"s,
                                        "[INFO] Starting BDBCheckpointThread.log_archive"s,
                                        "[INFO] Done BDBCheckpointThread.log_archive"s}));
    EXPECT_EQ(logFiles(env->path()), 1);
}

TEST(BDBCheckpointThread, AsksForACheckpointInEveryCycle)
{
    const RestoredSettings restored;
    TempEnv env;
    const LogCapture log(LogInfo);
    BDBCheckpointThread thread(env.get(), 1ms);
    EXPECT_TRUE(log.waitFor("Done txn_checkpoint 0", 3));
    thread.stop();
    thread.waitStopped();
}

TEST(BDBCheckpointThread, ALogFileRemovalThatFailsIsALineAndTheThreadGoesOn)
{
    /** Berkeley DB reports no failure of a removal as long as it can write checkpoints, so one is made up. */
    class UnwillingEnv : public BDBEnv {
    public:
        UnwillingEnv() : BDBEnv(16, DB_CXX_NO_EXCEPTIONS) {}
        ~UnwillingEnv() override { stopThreads(); } // while they may still call what is declared here
        int log_archive(char***, u_int32_t) override { return EIO; }
    };
    const RestoredSettings restored;
    Settings::setBackupDisabled(1);
    const TempDir home;
    UnwillingEnv env;
    ASSERT_EQ(env.open(home.bytes()), 0);
    const LogCapture log(LogInfo);
    BDBCheckpointThread thread(&env, 1ms);
    EXPECT_TRUE(log.waitFor("Done txn_checkpoint 1", 3));
    thread.stop();
    thread.waitStopped();
    EXPECT_THAT(log.lines(), testing::Contains(testing::MatchesRegex("\\[ERROR\\] bdb [0-9]+ log_archive failed 5")));
    EXPECT_EQ(log.count("Done BDBCheckpointThread.log_archive"), 0U);
}

TEST(BDBCheckpointThread, AFailureInAnEnvironmentWithoutContentIsALineAndTheThreadGoesOn)
{
    const std::unique_ptr<TempEnv> quiet = quietEnv();
    TempEnv& env = *quiet;
    const LogCapture log(LogError);
    (void)env->set_flags(DB_PANIC_ENVIRONMENT, 1);
    {
        BDBCheckpointThread thread(env.get(), 1ms);
        EXPECT_TRUE(log.waitFor("txn_checkpoint failed rc -30973", 3));
        thread.stop();
        thread.waitStopped();
    }
    (void)env->set_flags(DB_PANIC_ENVIRONMENT, 0);
    EXPECT_EQ(log.count("exiting"), 0U);
    EXPECT_THAT(log.lines(),
                testing::Contains(testing::MatchesRegex("\\[ERROR\\] bdb [0-9]+ txn_checkpoint failed rc -30973")));
}

/** A child process whose checkpoint cannot be written; its directories are made in a directory of this process. */
class BDBCheckpointThreadDeathTest : public testing::Test {
protected:
    void SetUp() override
    {
        testing::FLAGS_gtest_death_test_style = "threadsafe";
        if (const char* old = std::getenv("TMPDIR"))
            previous_ = old;
        setenv("TMPDIR", directory_.path().c_str(), 1);
    }
    void TearDown() override
    {
        if (previous_)
            setenv("TMPDIR", previous_->c_str(), 1);
        else
            unsetenv("TMPDIR");
    }

    static constexpr const char* LastLine = "\\[ERROR\\] bdb [0-9]+ txn_checkpoint failed rc -30973 exiting Quorva\n";

private:
    TempDir directory_;
    std::optional<std::string> previous_;
};

TEST_F(BDBCheckpointThreadDeathTest, EndsTheProcessWithStatus1WhenItFails)
{
    EXPECT_EXIT(
        {
            TempEnv env;
            (void)env.index("orders");
            Log::setDestination(stderr);
            (void)env->set_flags(DB_PANIC_ENVIRONMENT, 1);
            BDBCheckpointThread thread(env.get(), 24h);
            thread.waitStopped(); // for ever
        },
        testing::ExitedWithCode(1), LastLine);
}

TEST_F(BDBCheckpointThreadDeathTest, EndsTheProcessAlsoWhileOthersWrite)
{
    EXPECT_EXIT(
        {
            TempEnv env;
            BDBIndex* db = env.index("t.db");
            std::atomic<int> writes{0};
            const auto write = [&](int from) {
                for (int i = from;; ++i, ++writes) {
                    BDBTxn txn;
                    Dbt key(&i, sizeof i);
                    if (txn.begin(env.get(), 0) == 0 && db->put(&txn, &key, &key, 0) == 0)
                        (void)txn.commit(DB_TXN_NOSYNC);
                }
            };
            std::vector<std::thread> writers;
            for (int i = 0; i < 4; ++i)
                writers.emplace_back(write, i * 1'000'000);
            (void)waitUntil([&] { return writes > 100; });
            Log::setThreshold(LogError);
            Log::setDestination(stderr);
            (void)env->set_flags(DB_PANIC_ENVIRONMENT, 1);
            BDBCheckpointThread thread(env.get(), 24h);
            writers.front().join(); // for ever
        },
        testing::ExitedWithCode(1), LastLine);
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

TEST(BDBCacheFlushThread, AFailureIsALineAndTheThreadGoesOn)
{
    // A first checkpoint of the environment's own thread that met the panic would end this process.
    const std::unique_ptr<TempEnv> quiet = quietEnv();
    TempEnv& env = *quiet;
    const LogCapture log(LogError);
    (void)env->set_flags(DB_PANIC_ENVIRONMENT, 1);
    {
        BDBCacheFlushThread thread(env.get(), 1ms);
        EXPECT_TRUE(log.waitFor("cache flusher failed -30973", 2));
        thread.stop();
        thread.waitStopped();
    }
    (void)env->set_flags(DB_PANIC_ENVIRONMENT, 0);
}

TEST(BDBLockDetectThread, FailsTheYoungestOfTwoThatWaitForEachOther)
{
    // Not opened as the server does it: that breaks a deadlock when it arises, and nothing would be left to detect.
    const TempDir home;
    BDBEnv env(16, DB_CXX_NO_EXCEPTIONS);
    constexpr db_timeout_t Minute = 60'000'000; // microseconds; ends the test when nobody breaks the deadlock
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
        EXPECT_EQ(env.lock_put(&lockB), 0); // it gives up, and the other goes on
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

TEST(BDBStatPrintThread, PrintsWhatTheLevelReaches)
{
    const RestoredSettings restored;
    struct Case {
        int level;
        std::vector<const char*> printed;
        std::vector<const char*> missing;
    };
    constexpr const char* Locks = "Last allocated locker ID";
    constexpr const char* Transactions = "Number of transactions begun";
    constexpr const char* Mutexes = "Mutex alignment";
    constexpr const char* LogStatistics = "Log record cache size";
    constexpr const char* Cache = "Total cache size";
    const Case cases[] = {
        {0, {}, {Locks, Transactions, Mutexes, LogStatistics, Cache}},
        {3, {}, {Locks, Transactions, Mutexes, LogStatistics, Cache}},
        {4, {Locks}, {Transactions, Mutexes, LogStatistics, Cache}},
        {7, {Locks}, {Transactions, Mutexes, LogStatistics, Cache}},
        {8, {Locks, Transactions}, {Mutexes, LogStatistics, Cache}},
        {12, {Locks, Transactions, Mutexes}, {LogStatistics, Cache}},
        {16, {Locks, Transactions, Mutexes, LogStatistics}, {Cache}},
        {20, {Locks, Transactions, Mutexes, LogStatistics, Cache}, {}},
    };
    for (const Case& expected : cases) {
        SCOPED_TRACE(expected.level);
        Settings::setStatLevel(0);
        TempEnv env;
        const LogCapture log(LogDebug);
        Settings::setStatLevel(expected.level);
        BDBStatPrintThread thread(env.get(), 1ms);
        for (const char* text : expected.printed)
            EXPECT_TRUE(log.waitFor(text)) << text;
        thread.stop();
        thread.waitStopped();
        for (const char* text : expected.missing)
            EXPECT_FALSE(log.contains(text)) << text;
    }
}

TEST(BDBStatPrintThread, OpensWithTheTimeAndAnEmptyLine)
{
    const RestoredSettings restored;
    TempEnv env;
    const LogCapture log(LogDebug);
    Settings::setStatLevel(4);
    BDBStatPrintThread thread(env.get(), 24h);
    ASSERT_TRUE(log.waitFor("Last allocated locker ID"));
    thread.stop();
    thread.waitStopped();
    // "Fri Nov 20 11:36:30 2026", then a line with nothing in it.
    std::vector<std::string> lines = log.lines();
    std::erase_if(lines, [](const std::string& line) { return line.starts_with("[INFO]"); }); // other threads'
    ASSERT_GE(lines.size(), 2U);
    EXPECT_THAT(lines[0], testing::MatchesRegex("[A-Z][a-z][a-z] [A-Z][a-z][a-z] [ 0-9][0-9] [0-9][0-9]:[0-9][0-9]:"
                                                "[0-9][0-9] [0-9][0-9][0-9][0-9]"));
    EXPECT_EQ(lines[1], "");
}

TEST(BDBStatPrintThread, ReadsTheLevelAfreshInEveryCycle)
{
    const RestoredSettings restored;
    TempEnv env;
    const LogCapture log(LogDebug);
    BDBStatPrintThread thread(env.get(), 1ms);
    Settings::setStatLevel(4);
    EXPECT_TRUE(log.waitFor("Last allocated locker ID", 2));
    Settings::setStatLevel(8);
    EXPECT_TRUE(log.waitFor("Number of transactions begun"));
    thread.stop();
    thread.waitStopped();
}

TEST(BDBEnv, StartsItsThreadsAndEndsThemQuickly)
{
    const LogCapture log(LogInfo);
    TempEnv env;
    EXPECT_TRUE(log.waitFor("Done txn_checkpoint"));
    const auto start = std::chrono::steady_clock::now();
    env.close(); // would take five minutes if the sleeps were waited for
    EXPECT_LT(std::chrono::steady_clock::now() - start, 60s);
}

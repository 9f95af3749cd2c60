#include "storage/bdbcheckpointthread.h"

#include "maintenancesupport.h"
#include "storage/bdbtxn.h"
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

int logFiles(const std::string& directory)
{
    namespace fs = std::filesystem;
    return static_cast<int>(
        std::count_if(fs::directory_iterator(directory), fs::directory_iterator(),
                      [](const auto& entry) { return entry.path().filename().string().starts_with("log."); }));
}

/** Writes until the environment has this many log files, of 10 MB each. */
void fillLogs(TempEnv& env, int wanted)
{
    for (int i = 0; logFiles(env.path()) < wanted; ++i)
        env.put("filler.db", i, 1'000'000);
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

TEST(BDBCheckpointThread, ALogFileRemovalThatFailsIsLoggedAndTheThreadContinues)
{
    /** Berkeley DB reports no failed removal while it can write checkpoints, so this class simulates one. */
    class UnwillingEnv : public BDBEnv {
    public:
        UnwillingEnv() : BDBEnv(16, DB_CXX_NO_EXCEPTIONS) {}
        ~UnwillingEnv() override { stopThreads(); } // before the overridden function is gone
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

TEST(BDBCheckpointThread, AFailureInAnEnvironmentWithoutContentIsLoggedAndTheThreadContinues)
{
    const auto lines = linesOfFailures<BDBCheckpointThread>("txn_checkpoint failed rc -30973", 3);
    EXPECT_THAT(lines, testing::Not(testing::Contains(testing::HasSubstr("exiting"))));
    EXPECT_THAT(lines,
                testing::Contains(testing::MatchesRegex("\\[ERROR\\] bdb [0-9]+ txn_checkpoint failed rc -30973")));
}

/** A child process whose checkpoint fails. Its directories are in a directory of this process, which removes them. */
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
            thread.waitStopped(); // forever
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
            writers.front().join(); // forever
        },
        testing::ExitedWithCode(1), LastLine);
}

} // namespace

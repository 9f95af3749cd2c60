#include "storage/bdbenv.h"

#include "childprocess.h"
#include "loglines.h"
#include "replacedcalls.h"
#include "rows.h"
#include "storage/bdbtxn.h"
#include "storage/openindex.h"
#include "support/tempdir.h"

#include <gmock/gmock.h>

#include <memory>

namespace {

class BDBEnvCrashTest : public testing::Test {
protected:
    static std::unique_ptr<BDBEnv> opened(const TempDir& home)
    {
        auto env = std::make_unique<BDBEnv>(16, DB_CXX_NO_EXCEPTIONS);
        EXPECT_EQ(env->open(home.bytes()), 0);
        return env;
    }

    static BDBIndex* openedIndex(BDBEnv& env)
    {
        BDBObjTable connection(4);
        connection.setEnv(&env);
        BDBIndex* index = nullptr;
        EXPECT_EQ(Registry::openIndex(&connection, "db::orders:data", "orders", "data", &index), 0);
        return index;
    }

    TempDir home_;
};

TEST_F(BDBEnvCrashTest, CommittedWritesSurviveAKillInTheMiddleOfWriting)
{
    constexpr int Enough = 200;
    ChildProcess writer([&](const ChildProcess::Teller& teller) {
        const auto env = opened(home_);
        BDBIndex* index = openedIndex(*env);
        for (int i = 0;; ++i) {
            BDBTxn txn;
            if (txn.begin(env.get(), 0) != 0 || putRow(index, &txn, std::to_string(i), std::string(500, 'x')) != 0 ||
                txn.finish(0) != 0)
                return;
            teller.tell(i);
        }
    });
    int committed = -1;
    while (committed < Enough)
        ASSERT_TRUE(writer.hear(&committed));
    writer.kill();
    while (writer.hear(&committed)) // the last number that it reported
        ;

    const auto env = opened(home_);
    BDBIndex* index = openedIndex(*env);
    for (int i = 0; i <= committed; ++i)
        EXPECT_EQ(rowOf(index, nullptr, std::to_string(i)), std::string(500, 'x')) << i;
    EXPECT_EQ(rowOf(index, nullptr, std::to_string(committed + 2)), NoRow); // it had begun one more at most
}

TEST_F(BDBEnvCrashTest, UnfinishedWritesAreUndone)
{
    ChildProcess writer([&](const ChildProcess::Teller& teller) {
        const auto env = opened(home_);
        BDBIndex* index = openedIndex(*env);
        EXPECT_EQ(putRow(index, nullptr, "row", "committed"), 0);
        BDBTxn txn;
        EXPECT_EQ(txn.begin(env.get(), 0), 0);
        EXPECT_EQ(putRow(index, &txn, "row", "unfinished"), 0);
        EXPECT_EQ(putRow(index, &txn, "other", "unfinished"), 0);
        EXPECT_EQ(env->log_flush(nullptr), 0); // everything is on disk, data files included
        EXPECT_EQ(env->memp_sync(nullptr), 0);
        teller.waitForKill();
    });
    writer.killWhenReady();

    advanceClock(std::chrono::hours(1));
    LogCapture log;
    const auto env = opened(home_);
    EXPECT_EQ(log.count("[INFO] Env " + home_.path() + " recoverd "), 1U) << log.text();
    EXPECT_EQ(rowOf(openedIndex(*env), nullptr, "row"), "committed");
    EXPECT_EQ(rowOf(openedIndex(*env), nullptr, "other"), NoRow);
}

TEST_F(BDBEnvCrashTest, AnotherProcessIsKeptOutUntilItIsKilled)
{
    ChildProcess holder([&](const ChildProcess::Teller& teller) {
        const auto env = opened(home_);
        teller.tell(0);
        (void)pause();
    });
    int ready = 1;
    ASSERT_TRUE(holder.hear(&ready));
    {
        BDBEnv env(16, DB_CXX_NO_EXCEPTIONS);
        EXPECT_EQ(env.open(home_.bytes()), EWOULDBLOCK);
    }
    holder.kill();
    (void)opened(home_);
}

} // namespace

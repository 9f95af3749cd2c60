#include "storage/enginecalls.h"

#include "metrics/waits.h"
#include "rows.h"
#include "support/givenuppreemption.h"
#include "support/tempenv.h"

#include <gtest/gtest.h>

using namespace std::chrono_literals;

namespace {

/** The disk waits that a flush of the log, a checkpoint and reading in a fresh environment record. */
struct Noted {
    std::chrono::nanoseconds flush{0};
    std::chrono::nanoseconds checkpoint{0};
    std::chrono::nanoseconds read{0};
};

Noted noteEngineCalls()
{
    TempEnv env;
    EXPECT_EQ(putRow(env.index("t"), nullptr, "key", std::string(100000, 'x')), 0);
    const auto noted = [](auto&& work) {
        Metrics::Waits waits;
        const Metrics::NotedWaits here(&waits);
        work();
        EXPECT_EQ(waits.retries, 0);
        return waits.disk;
    };
    Noted waits;
    env.put("t", 1, 1000);
    waits.flush = noted([&] { EXPECT_EQ(env->log_flush(nullptr), 0); });
    waits.checkpoint = noted([&] { EXPECT_EQ(env->txn_checkpoint(0, 0, DB_FORCE), 0); });
    env.reopen();
    BDBIndex* const index = env.index("t");
    waits.read = noted([&] { EXPECT_EQ(rowOf(index, nullptr, "key"), std::string(100000, 'x')); });
    return waits;
}

TEST(EngineCalls, AreNotedForWhatReadsWritesAndSynchronises)
{
    EngineCalls::replace();
    const Noted waits = noteEngineCalls();
    EXPECT_GT(waits.flush, 0ns);
    EXPECT_GT(waits.checkpoint, 0ns);
    EXPECT_GT(waits.read, 0ns);
}

TEST(EngineCalls, RegainPreemptionForWhatReadsWritesAndSynchronises)
{
    EngineCalls::replace();
    TempEnv env;
    EXPECT_EQ(putRow(env.index("t"), nullptr, "key", std::string(100000, 'x')), 0);
    const auto regains = [](auto&& work) {
        giveUpPreemption();
        const bool hadGivenUp = hasGivenUpPreemption();
        work();
        return hadGivenUp && !hasGivenUpPreemption();
    };
    env.put("t", 1, 1000);
    EXPECT_TRUE(regains([&] { EXPECT_EQ(env->log_flush(nullptr), 0); }));
    EXPECT_TRUE(regains([&] { EXPECT_EQ(env->txn_checkpoint(0, 0, DB_FORCE), 0); }));
    env.reopen();
    BDBIndex* const index = env.index("t");
    EXPECT_TRUE(regains([&] { EXPECT_EQ(rowOf(index, nullptr, "key"), std::string(100000, 'x')); }));
    giveUpPreemption();
    EXPECT_EQ(rowOf(index, nullptr, "key"), std::string(100000, 'x'));
    EXPECT_TRUE(hasGivenUpPreemption()) << "it was in the cache";
    Base::WakeupPreemption::regain();
}

} // namespace

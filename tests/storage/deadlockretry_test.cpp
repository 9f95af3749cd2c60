#include "storage/deadlockretry.h"

#include "metrics/waits.h"
#include "replacedcalls.h"
#include "rows.h"
#include "storage/bdbtxn.h"
#include "support/tempenv.h"

#include <gmock/gmock.h>

#include <latch>
#include <string>
#include <thread>
#include <vector>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/** Runs the retry loop on attempts that deadlock `deadlocks` times and then end with `last`. */
struct Retried {
    Retried(int deadlocks, int last, Deadlocks::Warning policy = Deadlocks::Warning::FromThird)
    {
        result = Deadlocks::retry([&] { return attempts++ < deadlocks ? DB_LOCK_DEADLOCK : last; },
                                  [&](int backoff) {
                                      warnedAfter.push_back(attempts);
                                      backoffs.push_back(backoff);
                                  },
                                  policy);
    }

    int result = 0;
    int attempts = 0;
    std::vector<int> warnedAfter; // the number of attempts at each warning
    std::vector<int> backoffs;
};

TEST(RetryOnDeadlock, RunsASuccessfulAttemptOnce)
{
    const Retried run(0, 0);
    EXPECT_EQ(run.result, 0);
    EXPECT_EQ(run.attempts, 1);
    EXPECT_THAT(run.backoffs, IsEmpty());
}

TEST(RetryOnDeadlock, IsNotedWithItsPausesForTheRequest)
{
    Metrics::Waits waits;
    {
        const Metrics::NotedWaits noted(&waits);
        EXPECT_EQ(Retried(0, 0).attempts, 1);
        EXPECT_EQ(waits.retries, 0);
        EXPECT_EQ(waits.locks, std::chrono::nanoseconds(0));
        const RecordedPauses pauses(1); // the last attempts pause, for no time
        EXPECT_EQ(Retried(3, 0).attempts, 4);
    }
    EXPECT_EQ(waits.retries, 3);
    EXPECT_GT(waits.locks, std::chrono::nanoseconds(0));
}

TEST(RetryOnDeadlock, EndsOnAnyOtherResult)
{
    const RecordedPauses pauses(0);
    for (const int result : {1, 2, 3, 12, -1, DB_NOTFOUND, DB_LOCK_NOTGRANTED, DB_RUNRECOVERY}) {
        const Retried first(0, result);
        EXPECT_EQ(first.result, result);
        EXPECT_EQ(first.attempts, 1);
        const Retried later(4, result);
        EXPECT_EQ(later.result, result);
        EXPECT_EQ(later.attempts, 5);
    }
}

TEST(RetryOnDeadlock, CallsMayWarnFromTheThirdDeadlockOn)
{
    const RecordedPauses pauses(0);
    EXPECT_THAT(Retried(2, 0).backoffs, IsEmpty());
    const Retried run(5, 0);
    EXPECT_THAT(run.warnedAfter, ElementsAre(3, 4, 5));
    EXPECT_THAT(run.backoffs, ElementsAre(8, 16, 32)); // as it is after doubling
}

TEST(RetryOnDeadlock, TheBatchWriterWarnsFromTheFourthDeadlockOn)
{
    const RecordedPauses pauses(0);
    EXPECT_THAT(Retried(3, 0, Deadlocks::Warning::FromFourth).backoffs, IsEmpty());
    const Retried run(6, 0, Deadlocks::Warning::FromFourth);
    EXPECT_THAT(run.warnedAfter, ElementsAre(4, 5, 6));
    EXPECT_THAT(run.backoffs, ElementsAre(8, 16, 32)); // as it is before doubling
}

TEST(RetryOnDeadlock, DoesNotWarnOfOtherFailures)
{
    const RecordedPauses pauses(0);
    EXPECT_THAT(Retried(2, DB_NOTFOUND).backoffs, IsEmpty()); // the third attempt, but no deadlock
    EXPECT_THAT(Retried(3, DB_NOTFOUND, Deadlocks::Warning::FromFourth).backoffs, IsEmpty());
}

TEST(RetryOnDeadlock, PausesGrowFromNoneToHalfAMinute)
{
    const RecordedPauses pauses(RAND_MAX);
    EXPECT_EQ(Retried(19, 0).attempts, 20);
    EXPECT_THAT(pauses.milliseconds, ElementsAre(1, 3, 7, 15, 31, 63, 127, 255, 511, 1023, 2047, 4095, 8191, 16383,
                                                 32767, 32767, 32767, 32767, 32767));
}

TEST(RetryOnDeadlock, PausesAreRandomWithinTheirBound)
{
    const RecordedPauses pauses(0x12345);
    EXPECT_EQ(Retried(17, 0).attempts, 18);
    EXPECT_THAT(pauses.milliseconds,
                ElementsAre(1, 1, 5, 5, 5, 5, 69, 69, 325, 837, 837, 837, 837, 9029, 9029, 9029, 9029));
}

TEST(RetryOnDeadlock, PauseOfZeroIsNone)
{
    const RecordedPauses pauses(0);
    EXPECT_EQ(Retried(20, 0).attempts, 21);
    EXPECT_THAT(pauses.milliseconds, IsEmpty());
}

TEST(RetryOnDeadlock, BackoffStopsAt65536AndAttemptsDoNot)
{
    const RecordedPauses pauses(0);
    const Retried run(1000, 0);
    EXPECT_EQ(run.attempts, 1001);
    EXPECT_EQ(run.backoffs.size(), 998U);
    EXPECT_EQ(run.backoffs[13], 65536); // the 16th deadlock
    EXPECT_EQ(run.backoffs.back(), 65536);
    const Retried batch(1000, 0, Deadlocks::Warning::FromFourth);
    EXPECT_EQ(batch.backoffs.back(), 65536);
}

TEST(RetryOnDeadlock, LoserOfARealDeadlockRetriesToSuccess)
{
    TempEnv env;
    BDBIndex* orders = env.index("orders");
    BDBIndex* stock = env.index("stock");
    for (BDBIndex* index : {orders, stock})
        ASSERT_EQ(putRow(index, nullptr, "row", "nobody"), 0);

    std::latch bothHaveTheirFirst(2);
    struct Writer {
        BDBIndex* first;
        BDBIndex* second;
        std::string name;
        int attempts = 0;
        int result = -1;
    };
    Writer writers[] = {{orders, stock, "one"}, {stock, orders, "two"}};
    const auto write = [&](Writer& writer) {
        writer.result = Deadlocks::retry(
            [&] {
                BDBTxn txn;
                if (const int rc = txn.begin(env.get(), 0))
                    return rc;
                int rc = putRow(writer.first, &txn, "row", writer.name);
                if (++writer.attempts == 1)
                    bothHaveTheirFirst.arrive_and_wait();
                if (rc == 0)
                    rc = putRow(writer.second, &txn, "row", writer.name);
                return txn.finish(rc);
            },
            [](int) {});
    };
    std::thread other([&] { write(writers[1]); });
    write(writers[0]);
    other.join();

    EXPECT_EQ(writers[0].result, 0);
    EXPECT_EQ(writers[1].result, 0);
    EXPECT_THAT((std::vector{writers[0].attempts, writers[1].attempts}), testing::UnorderedElementsAre(1, 2));
    const std::string loser = writers[0].attempts == 2 ? "one" : "two"; // the one that retried wrote last
    EXPECT_EQ(rowOf(orders, nullptr, "row"), loser);
    EXPECT_EQ(rowOf(stock, nullptr, "row"), loser);
}

} // namespace

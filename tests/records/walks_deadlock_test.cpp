#include "pausedwalk.h"

#include <functional>

namespace {

using testing::IsEmpty;

/**
 * A real deadlock between a walk and a writer. The writer's transaction is the older one and holds the record that the
 * walk reaches last; once the walk waits there, the writer requests the page that the walk is on. The younger of the
 * two, the walk, loses.
 */
class WalkDeadlockTest : public PausedWalkTest {
protected:
    /** Runs `walk`, which visits the records from `first` to `last`, into a deadlock. Returns its result. */
    int runIntoDeadlock(const std::function<int(BDBEnv*)>& walk, int first, int last)
    {
        PausedWalk paused(*this, walk, last);
        const int reached = lastReadable(last, first);
        EXPECT_NE(reached, first); // it has left its starting point
        paused.lockAsWell(reached);
        return paused.result();
    }
};

TEST_F(WalkDeadlockTest, FailedScanLeavesNoTrace)
{
    const Scanned before{.limit = 1000,
                         .count = 2,
                         .scanned = 5,
                         .items = {QVariantMap{{"x", "1"}}, QVariantMap{{"x", "2"}}},
                         .lastHash = {},
                         .lastRange = {}};
    Scanned progress = before;
    BDBIndex* const items = db();
    LogCapture log;
    EXPECT_EQ(runIntoDeadlock([&](BDBEnv* env) { return scanItems(env, items, "", "", {}, names_, &progress); }, 0,
                              Count - 1),
              DB_LOCK_DEADLOCK);
    EXPECT_EQ(progress, before);
    EXPECT_THAT(recordLines(log), IsEmpty()); // logging is up to the caller that retries

    EXPECT_EQ(scan({}, {}, &progress), 0);
    EXPECT_EQ(progress.count, 2 + Count);
    EXPECT_EQ(progress.scanned, 5 + Count);
    EXPECT_EQ(progress.limit, 1000 - Count);
    EXPECT_EQ(progress.items.mid(0, 2), before.items);
    EXPECT_EQ(progress.items.size(), 2 + Count);
    EXPECT_EQ(progress.items.at(2), QVariant(itemOf({"a", rangeAt(0)})));
}

TEST_F(WalkDeadlockTest, FailedQueryLeavesNoTrace)
{
    for (const bool forward : {true, false}) {
        const Queried before{7, {"x"}, "y"};
        Queried result = before;
        const QueryRange range{"a", "", 1000, forward, nullptr};
        BDBIndex* const items = db();
        LogCapture log;
        EXPECT_EQ(runIntoDeadlock([&](BDBEnv* env) { return queryItems(env, items, range, true, names_, &result); },
                                  forward ? 0 : Count - 1, forward ? Count - 1 : 0),
                  DB_LOCK_DEADLOCK);
        EXPECT_EQ(result, before);
        EXPECT_THAT(recordLines(log), IsEmpty());

        EXPECT_EQ(query(range, &result), 0);
        EXPECT_EQ(result.count, Count);
        EXPECT_EQ(result.items.first(), QVariant(itemOf({"a", rangeAt(forward ? 0 : Count - 1)})));
    }
}

} // namespace

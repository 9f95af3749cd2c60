#include "storage/bdbtxn.h"
#include "support/waituntil.h"
#include "walkfixture.h"

#include <functional>
#include <optional>
#include <thread>

namespace {

using testing::IsEmpty;

/**
 * A real deadlock between a walk and a writer. The writer's transaction is the older one and holds the record that the
 * walk comes to last; once the walk waits there, the writer asks for what the walk holds. Of the two the younger, the
 * walk, is made to fail.
 */
class WalkDeadlockTest : public WalkTest {
protected:
    static constexpr int Count = 300; // over many pages

    static Bytes rangeAt(int n) { return Bytes::number(1000 + n); }

    void SetUp() override
    {
        for (int n = 0; n < Count; ++n)
            put({"a", rangeAt(n)});
    }

    u_int32_t lockWaits()
    {
        DB_LOCK_STAT* statistics = nullptr;
        EXPECT_EQ(env_.env()->lock_stat(&statistics, 0), 0);
        const auto waits = static_cast<u_int32_t>(statistics->st_lock_wait);
        std::free(statistics);
        return waits;
    }

    static void lock(BDBIndex* db, BDBTxn* txn, int n)
    {
        const Bytes key = recordKey("a", rangeAt(n));
        Dbt keyDbt = dbtOf(key);
        Dbt data;
        data.set_flags(DB_DBT_MALLOC);
        EXPECT_EQ(db->get(txn, &keyDbt, &data, DB_RMW), 0);
        std::free(data.get_data());
    }

    /** Runs `walk`, which passes the records from `first` to `last` (or down to it), into a deadlock. Its result. */
    int runIntoDeadlock(const std::function<int(BDBRequest&)>& walk, int first, int last)
    {
        BDBTxn writer; // begun in front of the walk's
        EXPECT_EQ(writer.begin(env_.env(), 0), 0);
        lock(db(), &writer, last);
        const u_int32_t before = lockWaits();
        std::optional<int> result;
        TestConnection connection(env_.registry());
        EXPECT_EQ(envLookup(connection.request(), env_.tableName(), 1), 0);
        std::thread walker([&] { result = walk(connection.request()); });
        EXPECT_TRUE(waitUntil([&] { return lockWaits() > before; }));
        lock(db(), &writer, first);
        walker.join();
        EXPECT_EQ(writer.abort(), 0);
        return result.value_or(-1);
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
    EXPECT_EQ(
        runIntoDeadlock([&](BDBRequest& request) { return scanItems(request, items, "", "", {}, names_, &progress); },
                        0, Count - 1),
        DB_LOCK_DEADLOCK);
    EXPECT_EQ(progress, before);
    EXPECT_THAT(recordLines(log), IsEmpty()); // whoever retries decides what is worth a line

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
        EXPECT_EQ(runIntoDeadlock(
                      [&](BDBRequest& request) { return queryItems(request, items, range, true, names_, &result); },
                      forward ? 0 : Count - 1, forward ? Count - 1 : 0),
                  DB_LOCK_DEADLOCK);
        EXPECT_EQ(result, before);
        EXPECT_THAT(recordLines(log), IsEmpty());

        EXPECT_EQ(query(range, &result), 0);
        EXPECT_EQ(result.count, Count);
        EXPECT_EQ(result.items.first(), QVariant(itemOf({"a", rangeAt(forward ? 0 : Count - 1)})));
    }
}

TEST_F(WalkDeadlockTest, NothingThatAWalkHasPassedIsChangedBeforeItEnds)
{
    // The walk waits for the last record. A writer that comes now would tear it: part of its changes seen, part not.
    BDBTxn writer;
    ASSERT_EQ(writer.begin(env_.env(), 0), 0);
    lock(db(), &writer, Count - 1);
    const u_int32_t before = lockWaits();
    BDBIndex* const items = db();
    Scanned progress = withLimit(1000);
    TestConnection connection(env_.registry());
    ASSERT_EQ(envLookup(connection.request(), env_.tableName(), 1), 0);
    int rc = -1;
    std::thread walker([&] { rc = scanItems(connection.request(), items, "", "", {}, names_, &progress); });
    EXPECT_TRUE(waitUntil([&] { return lockWaits() > before; }));
    const Bytes key = recordKey("a", rangeAt(0));
    Dbt keyDbt = dbtOf(key);
    const Bytes value = R"({"v":{"S":"late"}})";
    Dbt data = dbtOf(value);
    BDBTxn second;
    EXPECT_EQ(second.begin(env_.env(), DB_TXN_NOWAIT), 0); // its locks fail where they would have to wait
    EXPECT_EQ(items->put(&second, &keyDbt, &data, 0), DB_LOCK_DEADLOCK);
    EXPECT_EQ(second.abort(), 0);
    EXPECT_EQ(writer.abort(), 0);
    walker.join();
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(progress.count, Count);
    EXPECT_EQ(progress.items.first(), QVariant(itemOf({"a", rangeAt(0)})));
}

} // namespace

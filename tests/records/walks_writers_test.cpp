/* Walks and concurrent writers. */
#include "pausedwalk.h"

#include "storage/deadlockretry.h"

#include <atomic>
#include <map>
#include <random>
#include <set>
#include <vector>

namespace {

class WalkBesideWritersTest : public PausedWalkTest {
protected:
    static Bytes textValue(const Bytes& text) { return R"({"v":{"S":")" + text + R"("}})"; }
};

TEST_F(WalkBesideWritersTest, AScanHoldsUpNobodyOnThePagesThatItHasLeft)
{
    Scanned progress = withLimit(1000);
    PausedWalk walk(
        *this, [&](BDBEnv* env) { return scanItems(env, db(), "", "", {}, names_, &progress); }, Count - 1);
    const int reached = lastReadable(Count - 1, 0);
    ASSERT_GT(reached, Count / 2);
    EXPECT_EQ(writeWithoutWaiting(0, textValue("late")), 0);
    EXPECT_EQ(writeWithoutWaiting(reached / 2, textValue("late")), 0);
    EXPECT_EQ(writeWithoutWaiting(reached, textValue("late")), DB_LOCK_DEADLOCK); // the walk is on this page

    EXPECT_EQ(walk.goOn(), 0);
    EXPECT_EQ(progress.count, Count);
    EXPECT_EQ(progress.items.first(), QVariant(itemOf({"a", rangeAt(0)}))); // as they were when the walk passed them
    EXPECT_EQ(progress.items.at(reached / 2), QVariant(itemOf({"a", rangeAt(reached / 2)})));
}

TEST_F(WalkBesideWritersTest, AQueryHoldsUpNobodyOnThePagesThatItHasLeft)
{
    for (const bool forward : {true, false}) {
        const int first = forward ? 0 : Count - 1;
        const int last = Count - 1 - first;
        Queried result;
        const QueryRange range{"a", "", 1000, forward, nullptr};
        const QVariantMap before = itemOf({"a", rangeAt(first)});
        PausedWalk walk(
            *this, [&](BDBEnv* env) { return queryItems(env, db(), range, true, names_, &result); }, last);
        const int reached = lastReadable(last, first);
        ASSERT_NE(reached, first);
        EXPECT_EQ(writeWithoutWaiting(first, textValue("late")), 0);
        EXPECT_EQ(writeWithoutWaiting(reached, textValue("late")), DB_LOCK_DEADLOCK);

        EXPECT_EQ(walk.goOn(), 0);
        EXPECT_EQ(result.count, Count);
        EXPECT_EQ(result.items.first(), QVariant(before));
        put({"a", rangeAt(first)});
    }
}

TEST_F(WalkBesideWritersTest, AWalkShowsTheLaterPartOfABatchThatWasWrittenBehindIt)
{
    // The walk returns records it has passed as they were then, and those ahead as they are now.
    Queried result;
    const QueryRange range{"a", "", 1000, true, nullptr};
    PausedWalk walk(
        *this, [&](BDBEnv* env) { return queryItems(env, db(), range, true, names_, &result); }, Count - 1);
    walk.write(Count - 1, textValue("batch"));
    walk.write(0, textValue("batch"));
    EXPECT_EQ(walk.commitAndGoOn(), 0);
    ASSERT_EQ(result.count, Count);
    EXPECT_EQ(result.items.first(), QVariant(itemOf({"a", rangeAt(0)})));
    EXPECT_EQ(result.items.last().toMap().value("v"), QVariant(QVariantMap{{"S", "batch"}}));
}

TEST_F(WalkBesideWritersTest, WhatStaysIsSeenOnceAndWhole)
{
    // Between the records of SetUp, which are constantly overwritten, others come and go, so that pages are split,
    // emptied and freed during the walks. Some values need the larger buffer, and overflow pages.
    const auto valueOf = [](int n, char letter) {
        return textValue(Bytes(n % 10 == 0 ? 9000 : n % 3 == 0 ? 700 : 40, letter));
    };
    for (int n = 0; n < Count; ++n)
        rawPut(db(), Records::recordKey("a", rangeAt(n)), valueOf(n, 'a'));
    std::atomic<bool> done = false;
    std::atomic<int> rounds = 0;
    std::vector<std::thread> writers;
    const auto inTransaction = [&](BDBIndex* index, auto change) {
        return Deadlocks::retry(
            [&] {
                BDBTxn txn;
                const int rc = txn.begin(env_.env(), 0);
                return rc != 0 ? rc : [&] {
                    const int changed = change(index, &txn);
                    if (changed == 0)
                        return txn.commit(DB_TXN_NOSYNC);
                    (void)txn.abort();
                    return changed;
                }();
            },
            [](int) {});
    };
    BDBIndex* const index = db();
    const auto write = [&](const Bytes& key, const Bytes& value) {
        return inTransaction(index, [&](BDBIndex* items, BDBTxn* txn) {
            Dbt keyDbt = dbtOf(key);
            Dbt data = dbtOf(value);
            return items->put(txn, &keyDbt, &data, 0);
        });
    };
    const auto erase = [&](const Bytes& key) {
        return inTransaction(index, [&](BDBIndex* items, BDBTxn* txn) {
            Dbt keyDbt = dbtOf(key);
            return items->del(txn, &keyDbt, 0);
        });
    };
    writers.emplace_back([&] {
        for (char letter = 'b'; !done; letter = letter == 'z' ? 'b' : static_cast<char>(letter + 1)) {
            for (int n = 0; n < Count && !done; ++n)
                EXPECT_EQ(write(Records::recordKey("a", rangeAt(n)), valueOf(n, letter)), 0);
        }
    });
    writers.emplace_back([&] {
        while (!done) {
            for (int n = 0; n < Count && !done; ++n)
                EXPECT_EQ(write(Records::recordKey("a", rangeAt(n) + "+"), textValue(Bytes(600, '+'))), 0);
            for (int n = Count - 1; n >= 0 && !done; --n)
                EXPECT_THAT(erase(Records::recordKey("a", rangeAt(n) + "+")), testing::AnyOf(0, DB_NOTFOUND));
            ++rounds;
        }
    });

    int walks = 0;
    const auto look = [&](bool scans, bool forward) {
        Queried result;
        Scanned progress;
        const QueryRange range{"a", "", 1000, forward, nullptr};
        const int rc = Deadlocks::retry(
            [&] {
                progress = withLimit(1000);
                return scans ? scan({}, {}, &progress) : query(range, &result);
            },
            [](int) {});
        ASSERT_EQ(rc, 0);
        QVariantList items = scans ? progress.items : result.items;
        if (!scans && !forward)
            std::reverse(items.begin(), items.end());
        QList<Bytes> stayed;
        Bytes previous;
        for (const QVariant& item : std::as_const(items)) {
            const Bytes rangeKey = item.toMap().value("when").toMap().value("S").toString().toLatin1();
            ASSERT_LT(previous, rangeKey); // in order, so there are no duplicates
            previous = rangeKey;
            const Bytes text = item.toMap().value("v").toMap().value("S").toString().toLatin1();
            ASSERT_FALSE(text.isEmpty());
            ASSERT_EQ(text.count(text.front()), text.size()) << "half an item: " << text.toStdString();
            if (!rangeKey.endsWith('+')) {
                ASSERT_EQ(textValue(text), valueOf(rangeKey.toInt() - 1000, text.front()));
                stayed.append(rangeKey);
            }
        }
        ASSERT_EQ(stayed.size(), Count);
        ++walks;
    };
    while ((rounds < 3 || walks < 60) && !HasFatalFailure()) {
        look(walks % 3 == 0, walks % 2 == 0);
    }
    done = true;
    for (std::thread& writer : writers)
        writer.join();
}

} // namespace

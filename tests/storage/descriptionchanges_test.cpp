#include "rows.h"
#include "storage/bdbcursor.h"
#include "storage/bdbenv.h"
#include "storage/bdbtxn.h"
#include "support/blockedcall.h"
#include "support/tempenv.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <memory>
#include <mutex>

namespace {

TEST(ChangeCount, IsTheSameUntilAChangeHasEnded)
{
    ChangeCount count;
    const auto before = count.stamp();
    ASSERT_TRUE(before);
    EXPECT_EQ(count.stamp(), before);
    {
        const ChangeCount::Change change(&count);
        EXPECT_EQ(count.stamp(), std::nullopt);
    }
    ASSERT_TRUE(count.stamp());
    EXPECT_NE(count.stamp(), before);
}

TEST(ChangeCount, OverlappingChangesAreUnderWayUntilTheLastHasEnded)
{
    ChangeCount count;
    const auto before = count.stamp();
    auto first = std::make_unique<ChangeCount::Change>(&count);
    auto second = std::make_unique<ChangeCount::Change>(&count);
    first.reset();
    EXPECT_EQ(count.stamp(), std::nullopt);
    second.reset();
    ASSERT_TRUE(count.stamp());
    EXPECT_NE(count.stamp(), before);
}

TEST(DerivedValue, IsFoundWithTheStampThatItWasKeptWith)
{
    DerivedValue derived;
    EXPECT_EQ(derived.get(0), nullptr);
    const auto one = std::make_shared<int>(1);
    derived.keep(7, one);
    EXPECT_EQ(derived.get(7), one);
    EXPECT_EQ(derived.get(6), nullptr);
    EXPECT_EQ(derived.get(8), nullptr);
    const auto two = std::make_shared<int>(2);
    derived.keep(9, two);
    EXPECT_EQ(derived.get(9), two);
    EXPECT_EQ(derived.get(7), nullptr);
    EXPECT_EQ(one.use_count(), 1);
}

/** How an environment counts what is written to its descriptions. */
class DescriptionChanges : public testing::Test {
protected:
    /** True if `work` changes the count, and leaves no change under way. */
    template <typename Work> bool counts(Work work)
    {
        const auto before = env_->descriptionChanges().stamp();
        work();
        const auto after = env_->descriptionChanges().stamp();
        EXPECT_TRUE(before);
        EXPECT_TRUE(after);
        return before != after;
    }

    /** Runs `write` in a transaction and commits it. */
    template <typename Write> void inTransaction(Write write)
    {
        BDBTxn txn;
        ASSERT_EQ(txn.begin(env_.get(), 0), 0);
        EXPECT_FALSE(counts([&] { write(&txn); })); // nobody sees it yet
        EXPECT_EQ(txn.commit(0), 0);
    }

    TempEnv env_;
    BDBIndex* const meta_ = env_.index("t", "meta");
};

TEST_F(DescriptionChanges, CountsEveryKindOfWriteAtTheCommit)
{
    EXPECT_TRUE(counts([&] { inTransaction([&](BDBTxn* txn) { EXPECT_EQ(putRow(meta_, txn, "k", "1"), 0); }); }));
    EXPECT_TRUE(counts([&] { inTransaction([&](BDBTxn* txn) { EXPECT_EQ(deleteRow(meta_, txn, "k"), 0); }); }));
    EXPECT_TRUE(counts([&] { EXPECT_EQ(putRow(meta_, nullptr, "k", "3"), 0); }));
    EXPECT_TRUE(counts([&] { EXPECT_EQ(deleteRow(meta_, nullptr, "k"), 0); }));
}

TEST_F(DescriptionChanges, DoesNotCountWhatChangesNoDescription)
{
    BDBIndex* data = env_.index("t_00.db", "data");
    EXPECT_FALSE(counts([&] { inTransaction([&](BDBTxn* txn) { EXPECT_EQ(putRow(data, txn, "k", "1"), 0); }); }));
    EXPECT_FALSE(counts([&] { inTransaction([&](BDBTxn* txn) { EXPECT_EQ(rowOf(meta_, txn, "k"), NoRow); }); }));
    EXPECT_FALSE(counts([&] {
        BDBTxn txn;
        ASSERT_EQ(txn.begin(env_.get(), 0), 0);
        EXPECT_EQ(putRow(meta_, &txn, "k", "1"), 0);
        EXPECT_EQ(txn.abort(), 0);
        ASSERT_EQ(txn.begin(env_.get(), 0), 0); // nor later, when the same object commits another transaction
        EXPECT_EQ(putRow(data, &txn, "k", "1"), 0);
        EXPECT_EQ(txn.commit(0), 0);
    }));
}

TEST_F(DescriptionChanges, CountsWritesThroughEveryNameOfAFile)
{
    std::filesystem::create_symlink("t", env_.file("link"));
    BDBIndex* other = env_.index("link", "meta");
    ASSERT_NE(other, meta_);
    EXPECT_TRUE(counts([&] { inTransaction([&](BDBTxn* txn) { EXPECT_EQ(putRow(other, txn, "k", "1"), 0); }); }));
    EXPECT_EQ(rowOf(meta_, nullptr, "k"), "1");
}

TEST_F(DescriptionChanges, AreUnderWayWhileTheCommitRuns)
{
    std::unique_lock gate(env_->commitGate());
    BlockedCall write([&] {
        BDBTxn txn;
        EXPECT_EQ(txn.begin(env_.get(), 0), 0);
        EXPECT_EQ(putRow(meta_, &txn, "k", "1"), 0);
        return txn.commit(0);
    });
    ASSERT_TRUE(write.blocksIn(env_->commitGate()));
    EXPECT_EQ(env_->descriptionChanges().stamp(), std::nullopt);
    gate.unlock();
    EXPECT_EQ(write.get(), 0);
    EXPECT_NE(env_->descriptionChanges().stamp(), std::nullopt);
}

} // namespace

#include "bdbtxnfixture.h"

#include "loglines.h"
#include "storage/bdbcursor.h"
#include "support/blockedcall.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <memory>
#include <string>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(BDBTxnTest, IsInactiveUntilBegun)
{
    BDBTxn txn;
    EXPECT_EQ(BDBTxn::handleOf(&txn), nullptr);
    EXPECT_EQ(BDBTxn::handleOf(nullptr), nullptr);
    EXPECT_EQ(txn.begin(env_.get(), 0), 0);
    EXPECT_NE(BDBTxn::handleOf(&txn), nullptr);
    EXPECT_EQ(transactions().st_nactive, 1U);
}

TEST_F(BDBTxnTest, FailedBeginIsReported)
{
    BDBTxn txn;
    LogCapture log;
    EXPECT_EQ(txn.begin(env_.get(), 0x40000000), EINVAL);
    EXPECT_EQ(BDBTxn::handleOf(&txn), nullptr);
    EXPECT_EQ(ownLines(log).back(), "[ERROR] bdb # txn init failed rc 22");
    EXPECT_EQ(txn.abort(), 12);
}

TEST_F(BDBTxnTest, BeginHandsTheFlagsOn)
{
    BDBTxn first;
    BDBTxn second;
    ASSERT_EQ(first.begin(env_.get(), 0), 0);
    ASSERT_EQ(putRow(index_, &first, "key", "value"), 0);
    ASSERT_EQ(second.begin(env_.get(), DB_TXN_NOWAIT), 0);
    LogCapture log;
    EXPECT_EQ(rowOf(index_, &second, "key"), "(result " + std::to_string(DB_LOCK_DEADLOCK) + ')');
}

TEST_F(BDBTxnTest, CommitKeepsTheWrites)
{
    const auto txn = begunTxn();
    LogCapture log;
    EXPECT_EQ(txn->commit(DB_TXN_SYNC), 0);
    EXPECT_EQ(BDBTxn::handleOf(txn.get()), nullptr);
    EXPECT_EQ(transactions().st_nactive, 0U);
    EXPECT_EQ(rowOf(index_, nullptr, "key"), "value");
    EXPECT_THAT(ownLines(log), IsEmpty());
}

TEST_F(BDBTxnTest, CommitHandsTheFlagsOn)
{
    EXPECT_TRUE(waitUntil([&] { return begunTxn()->commit(DB_TXN_NOSYNC) == 0 && !everythingIsOnDisk(); }));
    EXPECT_TRUE(waitUntil([&] { return begunTxn()->commit(DB_TXN_SYNC) == 0 && everythingIsOnDisk(); }));
}

TEST_F(BDBTxnTest, SecondCommitIs12AndLogged)
{
    const auto txn = begunTxn();
    ASSERT_EQ(txn->commit(0), 0);
    const auto commits = transactions().st_ncommits;
    LogCapture log;
    EXPECT_EQ(txn->commit(0), 12);
    EXPECT_THAT(ownLines(log), ElementsAre("[ERROR] bdb # bt_txn is NULL"));
    EXPECT_EQ(transactions().st_ncommits, commits);
}

TEST_F(BDBTxnTest, CommitWithoutBeginIs12AndLogged)
{
    LogCapture log;
    EXPECT_EQ(BDBTxn().commit(0), 12);
    EXPECT_THAT(ownLines(log), ElementsAre("[ERROR] bdb # bt_txn is NULL"));
}

TEST_F(BDBTxnTest, NothingIsCommittedWhileTheCommitGateIsHeldExclusively)
{
    auto committed = begunTxn();
    auto aborted = std::make_unique<BDBTxn>();
    ASSERT_EQ(aborted->begin(env_.get(), 0), 0);
    env_->commitGate().lock();
    BlockedCall commit([&] { return committed->commit(0); });
    EXPECT_EQ(aborted->abort(), 0); // does not need the gate
    EXPECT_TRUE(commit.blocksIn(env_->commitGate()));
    env_->commitGate().unlock();
    EXPECT_EQ(commit.get(), 0);
    EXPECT_EQ(rowOf(index_, nullptr, "key"), "value");
    EXPECT_TRUE(env_->commitGate().try_lock()); // released
    env_->commitGate().unlock();
}

TEST_F(BDBTxnTest, AbortAbandonsTheWrites)
{
    const auto txn = begunTxn();
    LogCapture log;
    EXPECT_EQ(txn->abort(), 0);
    EXPECT_EQ(BDBTxn::handleOf(txn.get()), nullptr);
    EXPECT_EQ(transactions().st_naborts, 1U);
    EXPECT_EQ(rowOf(index_, nullptr, "key"), NoRow);
    EXPECT_THAT(ownLines(log), IsEmpty());
}

TEST_F(BDBTxnTest, AbortOfNoneIs12AndNotLogged)
{
    const auto txn = begunTxn();
    LogCapture log;
    EXPECT_EQ(txn->abort(), 0);
    EXPECT_EQ(txn->abort(), 12);
    EXPECT_EQ(BDBTxn().abort(), 12);
    EXPECT_THAT(ownLines(log), IsEmpty());
}

TEST_F(BDBTxnTest, DestructorAbortsAnUnfinishedTransaction)
{
    begunTxn().reset();
    ASSERT_EQ(transactions().st_nactive, 0U); // or the row would stay locked
    EXPECT_EQ(transactions().st_naborts, 1U);
    EXPECT_EQ(rowOf(index_, nullptr, "key"), NoRow);
}

TEST_F(BDBTxnTest, DestructorLeavesAFinishedTransactionAlone)
{
    LogCapture log;
    {
        const auto txn = begunTxn();
        ASSERT_EQ(txn->commit(0), 0);
    }
    EXPECT_EQ(transactions().st_naborts, 0U);
    EXPECT_EQ(rowOf(index_, nullptr, "key"), "value");
    EXPECT_THAT(ownLines(log), IsEmpty());
}

TEST_F(BDBTxnTest, BeginsAgainAfterItsEnd)
{
    BDBTxn txn;
    ASSERT_EQ(txn.begin(env_.get(), 0), 0);
    ASSERT_EQ(txn.abort(), 0);
    ASSERT_EQ(txn.begin(env_.get(), 0), 0);
    EXPECT_EQ(putRow(index_, &txn, "key", "value"), 0);
    EXPECT_EQ(txn.commit(0), 0);
    EXPECT_EQ(rowOf(index_, nullptr, "key"), "value");
}

} // namespace

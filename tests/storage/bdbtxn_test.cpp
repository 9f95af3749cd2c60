#include "storage/bdbtxn.h"

#include "childprocess.h"
#include "loglines.h"
#include "rows.h"
#include "storage/bdbcursor.h"
#include "storage/settings.h"
#include "support/blockedcall.h"
#include "support/tempenv.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <memory>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class BDBTxnTest : public testing::Test {
protected:
    DB_TXN_STAT transactions()
    {
        DB_TXN_STAT* statistics = nullptr;
        EXPECT_EQ(env_->txn_stat(&statistics, 0), 0);
        const DB_TXN_STAT copy = *statistics;
        std::free(statistics);
        return copy;
    }

    /** True when the log on disk ends where the library's ends. The environment's own threads write to it, too. */
    bool everythingIsOnDisk()
    {
        DB_LOG_STAT* statistics = nullptr;
        EXPECT_EQ(env_->log_stat(&statistics, 0), 0);
        const bool same = statistics->st_cur_file == statistics->st_disk_file &&
                          statistics->st_cur_offset == statistics->st_disk_offset;
        std::free(statistics);
        return same;
    }

    /** Begins a transaction and writes one row in it. */
    std::unique_ptr<BDBTxn> begunTxn()
    {
        auto txn = std::make_unique<BDBTxn>();
        EXPECT_EQ(txn->begin(env_.get(), 0), 0);
        EXPECT_EQ(putRow(index_, txn.get(), "key", "value"), 0);
        return txn;
    }

    TempEnv env_;
    BDBIndex* const index_ = env_.index("orders");
};

TEST_F(BDBTxnTest, IsInactiveUntilBegun)
{
    BDBTxn txn;
    EXPECT_EQ(BDBTxn::handleOf(&txn), nullptr);
    EXPECT_EQ(BDBTxn::handleOf(nullptr), nullptr);
    EXPECT_EQ(txn.begin(env_.get(), 0), 0);
    EXPECT_NE(BDBTxn::handleOf(&txn), nullptr);
    EXPECT_EQ(transactions().st_nactive, 1U);
}

TEST_F(BDBTxnTest, FailedBeginIsTold)
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

TEST_F(BDBTxnTest, SecondCommitIs12AndTold)
{
    const auto txn = begunTxn();
    ASSERT_EQ(txn->commit(0), 0);
    const auto commits = transactions().st_ncommits;
    LogCapture log;
    EXPECT_EQ(txn->commit(0), 12);
    EXPECT_THAT(ownLines(log), ElementsAre("[ERROR] bdb # bt_txn is NULL"));
    EXPECT_EQ(transactions().st_ncommits, commits);
}

TEST_F(BDBTxnTest, CommitWithoutBeginIs12AndTold)
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
    EXPECT_EQ(aborted->abort(), 0); // does not ask for the gate
    EXPECT_TRUE(commit.blocksIn(env_->commitGate()));
    env_->commitGate().unlock();
    EXPECT_EQ(commit.get(), 0);
    EXPECT_EQ(rowOf(index_, nullptr, "key"), "value");
    EXPECT_TRUE(env_->commitGate().try_lock()); // given back
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

TEST_F(BDBTxnTest, AbortOfNoneIs12AndNotTold)
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
    ASSERT_EQ(transactions().st_nactive, 0U); // else the row would stay locked for good
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

class FinishTest : public BDBTxnTest {
protected:
    ~FinishTest() override { Settings::setTxnCommitFlags(DB_TXN_SYNC); }
};

TEST_F(FinishTest, CommitsOnZero)
{
    const auto txn = begunTxn();
    EXPECT_EQ(txn->finish(0), 0);
    EXPECT_EQ(rowOf(index_, nullptr, "key"), "value");
}

TEST_F(FinishTest, AbortsOnAnyOtherResultAndReturnsThat)
{
    LogCapture log;
    for (const int rc : {1, 12, DB_LOCK_DEADLOCK, DB_NOTFOUND}) {
        const auto txn = begunTxn();
        EXPECT_EQ(txn->finish(rc), rc);
        EXPECT_EQ(BDBTxn::handleOf(txn.get()), nullptr);
        EXPECT_EQ(rowOf(index_, nullptr, "key"), NoRow);
    }
    EXPECT_THAT(ownLines(log), IsEmpty());
}

TEST_F(FinishTest, CommitReachesTheDiskUnlessTheServerRunsWithoutSync)
{
    EXPECT_TRUE(waitUntil([&] { return begunTxn()->finish(0) == 0 && everythingIsOnDisk(); }));
    Settings::setTxnCommitFlags(DB_TXN_NOSYNC);
    EXPECT_TRUE(waitUntil([&] { return begunTxn()->finish(0) == 0 && !everythingIsOnDisk(); }));
    EXPECT_EQ(rowOf(index_, nullptr, "key"), "value");
}

TEST_F(FinishTest, OfAnEndedTransactionIs12)
{
    LogCapture log;
    BDBTxn ended;
    EXPECT_EQ(ended.finish(0), 12);
    EXPECT_THAT(ownLines(log), ElementsAre("[ERROR] bdb # bt_txn is NULL"));
}

/** Hands `use` a transaction whose commit fails: the library refuses everything in a broken environment. */
template <typename Use> int withBrokenTxn(Use use)
{
    // In a process of its own, as the library leaves the memory of a broken environment behind.
    ChildProcess child([&](const auto&) {
        LogCapture log;
        TempEnv env;
        ASSERT_TRUE(log.waitFor("Done txn_checkpoint ")); // one that failed would end the process
        BDBTxn txn;
        ASSERT_EQ(txn.begin(env.get(), 0), 0);
        ASSERT_EQ(putRow(env.index("orders"), &txn, "key", "value"), 0);
        ASSERT_EQ(env->set_flags(DB_PANIC_ENVIRONMENT, 1), 0);
        use(txn);
        EXPECT_EQ(ownLines(log).back(), "[ERROR] bdb # txn commit failed rc -30973");
        EXPECT_EQ(BDBTxn::handleOf(&txn), nullptr);
        EXPECT_EQ(txn.abort(), 12); // nothing is left to abort
    });
    return child.waitForExit();
}

TEST(BDBTxnCommit, FailureIsToldAndLeavesNothingToAbort)
{
    EXPECT_EQ(withBrokenTxn([](BDBTxn& txn) { EXPECT_EQ(txn.commit(DB_TXN_SYNC), DB_RUNRECOVERY); }), 0);
}

TEST(Finish, ReturnsTheResultOfAFailedCommit)
{
    EXPECT_EQ(withBrokenTxn([](BDBTxn& txn) { EXPECT_EQ(txn.finish(0), DB_RUNRECOVERY); }), 0);
}

} // namespace

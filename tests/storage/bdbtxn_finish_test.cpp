// How transactions end, and commits that fail.
#include "bdbtxnfixture.h"
#include "childprocess.h"
#include "loglines.h"
#include "storage/settings.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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

/** Calls `use` with a transaction whose commit fails: Berkeley DB refuses everything in a panicked environment. */
template <typename Use> int withBrokenTxn(Use use)
{
    // In a child process, as Berkeley DB leaks the memory of a panicked environment.
    ChildProcess child([&](const auto&) {
        LogCapture log;
        TempEnv env;
        ASSERT_TRUE(log.waitFor("Done txn_checkpoint ")); // a failed checkpoint would end the process
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

TEST(BDBTxnCommit, FailureIsReportedAndLeavesNothingToAbort)
{
    EXPECT_EQ(withBrokenTxn([](BDBTxn& txn) { EXPECT_EQ(txn.commit(DB_TXN_SYNC), DB_RUNRECOVERY); }), 0);
}

TEST(Finish, ReturnsTheResultOfAFailedCommit)
{
    EXPECT_EQ(withBrokenTxn([](BDBTxn& txn) { EXPECT_EQ(txn.finish(0), DB_RUNRECOVERY); }), 0);
}

} // namespace

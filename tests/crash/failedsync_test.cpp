// A disk that fails a sync once, and then works again: the system has the bytes in its cache and regards them as
// written. What was acknowledged after that must still survive a power failure.
#include "failedsync.h"

namespace {

TEST_F(FailedSync, OfTheLogFailsAllWritesUntilTheEnvironmentIsOpenedAgain)
{
    configureUnsynchronousLog();
    ASSERT_NO_FATAL_FAILURE(startWithTable("/log."));
    failASync();
    EXPECT_EQ(put("refused"), internalErrorReply());
    EXPECT_FALSE(has("refused"));
    EXPECT_TRUE(has("before"));
    EXPECT_TRUE(isReported());
    EXPECT_TRUE(isRecorded());
    const std::string log = server_->logText();
    EXPECT_NE(log.find("sync of " + home_ + "/log.0000000001 failed rc 5 : nothing in " + home_ +
                       " is durable any more until it is opened again"),
              std::string::npos)
        << log;
    EXPECT_NE(log.find("BDB0151 fsync: Input/output error"), std::string::npos) << log;
    kill();
    ASSERT_NO_FATAL_FAILURE(start("/log."));
    EXPECT_EQ(put("after"), stored());
    EXPECT_FALSE(isReported());
    EXPECT_NE(server_->logText().find("A sync of a file in " + home_ + " had failed. Writing all files again"),
              std::string::npos);
    EXPECT_FALSE(isRecorded());
    expectAfterLossOfPower({"before", "after"});
}

TEST_F(FailedSync, ALogThatIsWrittenSynchronouslyIsWrittenAgainByTheNextFlush)
{
    ASSERT_NO_FATAL_FAILURE(startWithTable("/log."));
    failASync();
    EXPECT_EQ(put("after"), stored());
    EXPECT_FALSE(isRecorded());
    expectAfterLossOfPower({"before", "after"});
}

TEST_F(FailedSync, OfADataFileInRecoveryIsMadeUpForWhenTheEnvironmentIsOpenedAgain)
{
    ASSERT_NO_FATAL_FAILURE(startWithTable(".db"));
    kill();
    breakDisk();
    ASSERT_NO_FATAL_FAILURE(start(".db"));
    EXPECT_EQ(put("refused"), notFoundReply());
    EXPECT_TRUE(isRecorded()) << server_->logText();
    EXPECT_EQ(put("refused again"), notFoundReply());
    EXPECT_TRUE(isRecorded());
    mendDisk();
    EXPECT_EQ(put("after"), stored());
    EXPECT_FALSE(isRecorded());
    expectAfterLossOfPower({"before", "after"});
    EXPECT_FALSE(has("refused"));
}

/** Otherwise the pages would be ahead of the log after a power failure, and later changes would not be redone. */
TEST_F(FailedSync, OfTheLogKeepsThePagesThatItCoversOffTheDisk)
{
    configureUnsynchronousLog();
    ASSERT_NO_FATAL_FAILURE(startWithTable("/log."));
    failASync(QString(30000, 'x'));                                                    // a gap of several blocks
    EXPECT_EQ(server_->request("DeleteTable", table_).value("__rc"), QVariant(200LL)); // would write all pages
    kill();
    loss_.loseAll();
    ASSERT_NO_FATAL_FAILURE(start("/log."));
    EXPECT_TRUE(has("before"));
    EXPECT_EQ(put("later"), stored());
    expectAfterLossOfPower({"before", "later"});
}

/** A removed file would be there again after a power failure, behind a checkpoint that does not know of it. */
TEST_F(FailedSync, OfADirectoryAfterARemovalCountsAsWell)
{
    ASSERT_NO_FATAL_FAILURE(startWithTable("/."));
    breakDisk();
    EXPECT_EQ(server_->request("Quorva_1.TruncateTable", table_).value("__type"), internalErrorReply().value("__type"));
    EXPECT_TRUE(isReported());
    EXPECT_TRUE(isRecorded());
    mendDisk();
    EXPECT_EQ(put("refused"), internalErrorReply());
}

} // namespace

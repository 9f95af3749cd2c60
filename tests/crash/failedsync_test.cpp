// A disk that fails a sync once, and then works again: the system has the bytes in its cache and regards them as
// written. What was acknowledged after that must still survive a power failure.
#include "failedsync.h"

namespace {

TEST_F(FailedSync, OfTheLogFailsAllWritesUntilTheEnvironmentIsOpenedAgain)
{
    configureUnsynchronousLog();
    {
        ServerProcess server(serverWith("/log."));
        ASSERT_TRUE(server.start());
        ASSERT_NO_FATAL_FAILURE(createTable(&server));
        ASSERT_EQ(put(&server, "before"), stored());
        breakDisk();
        EXPECT_EQ(put(&server, "failed"), internalErrorReply());
        mendDisk();
        EXPECT_EQ(put(&server, "refused"), internalErrorReply());
        EXPECT_FALSE(has(&server, "refused"));
        EXPECT_TRUE(has(&server, "before"));
        EXPECT_TRUE(isReported(&server));
        EXPECT_TRUE(isRecorded());
        const std::string log = server.logText();
        EXPECT_NE(log.find("sync of " + home_ + "/log.0000000001 failed rc 5 : nothing in " + home_ +
                           " is durable any more until it is opened again"),
                  std::string::npos)
            << log;
        EXPECT_NE(log.find("BDB0151 fsync: Input/output error"), std::string::npos) << log;
        server.kill();
        EXPECT_EQ(server.waitForExit(), -SIGKILL);
    }
    {
        ServerProcess server(serverWith("/log."));
        ASSERT_TRUE(server.start());
        EXPECT_EQ(put(&server, "after"), stored());
        EXPECT_FALSE(isReported(&server));
        EXPECT_NE(server.logText().find("A sync of a file in " + home_ + " had failed. Writing all files again"),
                  std::string::npos);
        EXPECT_FALSE(isRecorded());
        server.kill();
        EXPECT_EQ(server.waitForExit(), -SIGKILL);
    }
    loss_.loseAll();
    ServerProcess server;
    ASSERT_TRUE(server.start());
    EXPECT_TRUE(has(&server, "before"));
    EXPECT_TRUE(has(&server, "after"));
}

TEST_F(FailedSync, ALogThatIsWrittenSynchronouslyIsWrittenAgainByTheNextFlush)
{
    {
        ServerProcess server(serverWith("/log."));
        ASSERT_TRUE(server.start());
        ASSERT_NO_FATAL_FAILURE(createTable(&server));
        ASSERT_EQ(put(&server, "before"), stored());
        breakDisk();
        EXPECT_EQ(put(&server, "failed"), internalErrorReply());
        mendDisk();
        EXPECT_EQ(put(&server, "after"), stored());
        EXPECT_FALSE(isRecorded());
        server.kill();
        EXPECT_EQ(server.waitForExit(), -SIGKILL);
    }
    loss_.loseAll();
    ServerProcess server;
    ASSERT_TRUE(server.start());
    EXPECT_TRUE(has(&server, "before"));
    EXPECT_TRUE(has(&server, "after"));
}

TEST_F(FailedSync, OfADataFileInRecoveryIsMadeUpForWhenTheEnvironmentIsOpenedAgain)
{
    {
        ServerProcess server(serverWith(".db"));
        ASSERT_TRUE(server.start());
        ASSERT_NO_FATAL_FAILURE(createTable(&server));
        ASSERT_EQ(put(&server, "before"), stored());
        server.kill();
        EXPECT_EQ(server.waitForExit(), -SIGKILL);
    }
    {
        ServerProcess server(serverWith(".db"));
        breakDisk();
        ASSERT_TRUE(server.start());
        EXPECT_EQ(put(&server, "refused"), notFoundReply());
        EXPECT_TRUE(isRecorded()) << server.logText();
        EXPECT_EQ(put(&server, "refused again"), notFoundReply());
        EXPECT_TRUE(isRecorded());
        mendDisk();
        EXPECT_EQ(put(&server, "after"), stored());
        EXPECT_FALSE(isRecorded());
        server.kill();
        EXPECT_EQ(server.waitForExit(), -SIGKILL);
    }
    loss_.loseAll();
    ServerProcess server;
    ASSERT_TRUE(server.start());
    EXPECT_TRUE(has(&server, "before"));
    EXPECT_TRUE(has(&server, "after"));
    EXPECT_FALSE(has(&server, "refused"));
}

/** Otherwise the pages would be ahead of the log after a power failure, and later changes would not be redone. */
TEST_F(FailedSync, OfTheLogKeepsThePagesThatItCoversOffTheDisk)
{
    configureUnsynchronousLog();
    {
        ServerProcess server(serverWith("/log."));
        ASSERT_TRUE(server.start());
        ASSERT_NO_FATAL_FAILURE(createTable(&server));
        ASSERT_EQ(put(&server, "before"), stored());
        breakDisk();
        EXPECT_EQ(put(&server, "failed", QString(30000, 'x')), internalErrorReply()); // a gap of several blocks
        mendDisk();
        EXPECT_EQ(server.request("DeleteTable", table_).value("__rc"), QVariant(200LL)); // would write all pages
        server.kill();
        EXPECT_EQ(server.waitForExit(), -SIGKILL);
    }
    loss_.loseAll();
    {
        ServerProcess server(serverWith("/log."));
        ASSERT_TRUE(server.start());
        EXPECT_TRUE(has(&server, "before"));
        EXPECT_EQ(put(&server, "later"), stored());
        server.kill();
        EXPECT_EQ(server.waitForExit(), -SIGKILL);
    }
    loss_.loseAll();
    ServerProcess server;
    ASSERT_TRUE(server.start());
    EXPECT_TRUE(has(&server, "before"));
    EXPECT_TRUE(has(&server, "later"));
}

/** A removed file would be there again after a power failure, behind a checkpoint that does not know of it. */
TEST_F(FailedSync, OfADirectoryAfterARemovalCountsAsWell)
{
    ServerProcess server(serverWith("/."));
    ASSERT_TRUE(server.start());
    ASSERT_NO_FATAL_FAILURE(createTable(&server));
    ASSERT_EQ(put(&server, "before"), stored());
    breakDisk();
    EXPECT_EQ(server.request("Quorva_1.TruncateTable", table_).value("__type"), internalErrorReply().value("__type"));
    EXPECT_TRUE(isReported(&server));
    EXPECT_TRUE(isRecorded());
    mendDisk();
    EXPECT_EQ(put(&server, "refused"), internalErrorReply());
}

} // namespace

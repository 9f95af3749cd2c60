// A disk that fails a sync once, and then works again: the system has the bytes in its cache and regards them as
// written. What was acknowledged after that must still survive a power failure.
#include "writebackloss.h"

#include "support/tablefixture.h"

#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

class FailedSync : public testing::Test {
protected:
    void SetUp() override
    {
#ifdef QUORVA_SANITIZED
        GTEST_SKIP() << "a sanitizer wants to be the first library of its process";
#endif
    }

    /** A server under which syncs of files whose paths contain `name` fail while the disk is broken. */
    ServerProcess::Setup serverWith(const char* name) const
    {
        ServerProcess::Setup setup{.environment = loss_.environment()};
        setup.environment["CRASH_FAIL_FILE"] = trigger_;
        setup.environment["CRASH_FAIL_NAME"] = name;
        return setup;
    }

    void breakDisk()
    {
        std::ofstream(trigger_).flush();
    }
    void mendDisk()
    {
        std::filesystem::remove(trigger_);
    }

    QVariantMap put(ServerProcess* server, const char* range)
    {
        const QVariantMap item{{"h", textValue("h")}, {"r", textValue(range)}};
        return server->request("PutItem", merged(table_, {{"Item", item}}));
    }

    bool has(ServerProcess* server, const char* range)
    {
        return server->request("GetItem", merged(table_, {{"Key", itemKey("h", range)}})).contains("Item");
    }

    static bool isReported(ServerProcess* server)
    {
        const QVariantList environments = server->request("Quorva_1.Status", {}).value("Environments").toList();
        EXPECT_EQ(environments.size(), 1);
        return environments.value(0).toMap().value("SyncFailed").toBool();
    }

    bool isRecorded() const
    {
        return std::filesystem::exists(home_ + "/__dbq.quorva.unsynced");
    }

    static QVariantMap stored()
    {
        return okReply({{"Attributes", QVariantMap()}});
    }

    const TempDir directory_;
    const std::string home_ = directory_.makeDirectory("env");
    const std::string trigger_ = directory_.file("broken");
    const WriteBackLoss loss_{home_, directory_.makeDirectory("durable")};
    const QVariantMap table_{{"TableName", QString::fromStdString(home_) + "|t"}};
};

TEST_F(FailedSync, OfTheLogFailsAllWritesUntilTheEnvironmentIsOpenedAgain)
{
    std::ofstream(home_ + "/DB_CONFIG") << "log_set_config db_log_dsync off\n";
    loss_.settle(home_ + "/DB_CONFIG");
    {
        ServerProcess server(serverWith("/log."));
        ASSERT_TRUE(server.start());
        ASSERT_EQ(server.request("CreateTable", merged(table_, {{"KeySchema", keySchema()}})).value("__rc"),
                  QVariant(200LL));
        ASSERT_EQ(put(&server, "before"), stored());
        ASSERT_TRUE(server.waitForLog("Done txn_checkpoint")); // one that fails ends the server
        breakDisk();
        EXPECT_EQ(put(&server, "failed"), internalErrorReply());
        mendDisk();
        EXPECT_EQ(put(&server, "refused"), internalErrorReply());
        EXPECT_EQ(server.request("FlushDB", table_), internalErrorReply());
        EXPECT_EQ(server.request("CreateTable", {{"TableName", table_.value("TableName").toString() + "2"},
                                                 {"KeySchema", keySchema()}}),
                  internalErrorReply());
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
        ASSERT_EQ(server.request("CreateTable", merged(table_, {{"KeySchema", keySchema()}})).value("__rc"),
                  QVariant(200LL));
        ASSERT_EQ(put(&server, "before"), stored());
        ASSERT_TRUE(server.waitForLog("Done txn_checkpoint")); // one that fails ends the server
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
        ASSERT_EQ(server.request("CreateTable", merged(table_, {{"KeySchema", keySchema()}})).value("__rc"),
                  QVariant(200LL));
        ASSERT_TRUE(server.waitForLog("Done txn_checkpoint")); // one after the put would leave nothing to recover
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

} // namespace

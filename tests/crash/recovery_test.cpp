#include "writebackloss.h"

#include "protocol/framing.h"
#include "protocol/operations.h"
#include "support/tablefixture.h"

#include <db_cxx.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>

namespace {

QVariantMap tableNamed(const std::string& home)
{
    return {{"TableName", QString::fromStdString(home) + "|t"}};
}

/** The number of the synchronisation of a data file at which the second server is killed. */
class Recovery : public testing::TestWithParam<int> {};

/**
 * A server is killed when a batch is in its log but the log is not yet on disk. The next server recovers the batch, and
 * is killed when some of its pages are on disk. Then the power fails. If recovery did not first synchronise the log
 * that it found, pages would be ahead of the log: half a batch, and items that are not redone.
 */
TEST_P(Recovery, WritesNoPageBeforeTheLogThatItFoundIsOnDisk)
{
#ifdef QUORVA_SANITIZED
    GTEST_SKIP() << "a sanitizer wants to be the first library of its process";
#endif
    constexpr int Items = 12; // nearly all in different partitions
    const TempDir directory;
    const std::string home = directory.makeDirectory("env");
    const std::string killFile = directory.file("kill");
    const WriteBackLoss loss(home, directory.makeDirectory("durable"));
    const QVariantMap table = tableNamed(home);
    std::ofstream(home + "/DB_CONFIG") << "log_set_config db_log_dsync off\n";
    loss.settle(home + "/DB_CONFIG");
    const auto killedAt = [&](const char* name, int sync) {
        ServerProcess::Setup setup{.environment = loss.environment()};
        setup.environment["CRASH_KILL_FILE"] = killFile;
        setup.environment["CRASH_KILL_NAME"] = name;
        setup.environment["CRASH_KILL_SYNC"] = std::to_string(sync);
        return setup;
    };
    const auto batch = [&](const char* version) {
        QVariantList entries;
        for (int i = 0; i < Items; ++i) {
            const QVariantMap item{
                {"h", textValue(QString::number(i))}, {"r", textValue("r")}, {"v", textValue(version)}};
            entries.append(QVariantMap{{"PutRequest", QVariantMap{{"Item", item}}}});
        }
        return QVariantMap{{"RequestItems", QVariantMap{{table.value("TableName").toString(), entries}}}};
    };
    {
        ServerProcess server(killedAt("/log.", 1));
        ASSERT_TRUE(server.start());
        EXPECT_EQ(server.request("CreateTable", merged(table, {{"KeySchema", keySchema()}})).value("__rc"),
                  QVariant(200LL));
        EXPECT_EQ(server.request("BatchWriteItem", batch("acknowledged")), okReply());
        EXPECT_EQ(server.request("DeleteTable", table), okReply()); // a checkpoint
        EXPECT_EQ(server.request("BatchWriteItem", batch("acknowledged, too")), okReply());
        std::ofstream(killFile).flush();
        Client::WireConnection connection = server.connect();
        ASSERT_TRUE(connection.send(
            Framing::frameRequest(Operations::fullName("BatchWriteItem"), Json::serialize(batch("in flight")))));
        EXPECT_EQ(server.waitForExit(), -SIGKILL);
    }
    {
        ServerProcess server(killedAt(".db", GetParam()));
        ASSERT_TRUE(server.start());
        Client::WireConnection connection = server.connect();
        ASSERT_TRUE(
            connection.send(Framing::frameRequest(Operations::fullName("DescribeTable"), Json::serialize(table))));
        QByteArray reply;
        (void)connection.receiveReply(&reply); // ignored: the server may have been killed before
        server.kill();
        EXPECT_EQ(server.waitForExit(), -SIGKILL);
    }
    loss.loseAll();
    ServerProcess server;
    ASSERT_TRUE(server.start());
    std::set<QString> versions;
    for (int i = 0; i < Items; ++i) {
        const QVariantMap reply = server.request("GetItem", merged(table, {{"Key", itemKey(QString::number(i), "r")}}));
        versions.insert(reply.value("Item").toMap().value("v").toMap().value("S").toString());
    }
    EXPECT_EQ(versions.size(), 1U) << "a half batch";
    EXPECT_TRUE(versions.contains("acknowledged, too") || versions.contains("in flight"));
    EXPECT_EQ(server.logText().find("BDB: "), std::string::npos) << server.logText();
}

INSTANTIATE_TEST_SUITE_P(KilledAtSync, Recovery, testing::Values(1, 2, 5, 8, 12, 14));

/** Copies what a process leaves that is killed while it creates a database file: the creation has not committed. */
void copyWithHalfCreatedFile(const std::string& file, const std::string& target)
{
    const TempDir directory;
    const std::string home = directory.makeDirectory("env");
    DbEnv env(DB_CXX_NO_EXCEPTIONS);
    ASSERT_EQ(
        env.open(home.c_str(), DB_CREATE | DB_INIT_LOCK | DB_INIT_LOG | DB_INIT_MPOOL | DB_INIT_TXN | DB_PRIVATE, 0),
        0);
    DbTxn* transaction = nullptr;
    ASSERT_EQ(env.txn_begin(nullptr, &transaction, 0), 0);
    Db db(&env, DB_CXX_NO_EXCEPTIONS);
    ASSERT_EQ(db.open(transaction, file.c_str(), "meta", DB_BTREE, DB_CREATE, 0), 0);
    ASSERT_EQ(env.log_flush(nullptr), 0);
    std::filesystem::copy(home, target);
    EXPECT_EQ(transaction->abort(), 0);
    EXPECT_EQ(db.close(0), 0);
    EXPECT_EQ(env.close(0), 0);
}

/**
 * Recovery removes a file whose creation did not commit, and writes a checkpoint. Later recoveries begin there, so if a
 * power failure undid the removal, half a file would be left, which cannot be opened.
 */
TEST(RecoveredFiles, AreStillRemovedAfterALossOfPower)
{
#ifdef QUORVA_SANITIZED
    GTEST_SKIP() << "a sanitizer wants to be the first library of its process";
#endif
    const TempDir directory;
    const std::string home = directory.file("env");
    ASSERT_NO_FATAL_FAILURE(copyWithHalfCreatedFile("t", home));
    ASSERT_TRUE(std::filesystem::exists(home + "/t"));
    const WriteBackLoss loss(home, directory.makeDirectory("durable"));
    {
        ServerProcess server({.environment = loss.environment()});
        ASSERT_TRUE(server.start());
        EXPECT_EQ(server.request("DescribeTable", tableNamed(home)).value("__rc"), QVariant(400LL));
        EXPECT_FALSE(std::filesystem::exists(home + "/t"));
        server.kill();
        EXPECT_EQ(server.waitForExit(), -SIGKILL);
    }
    loss.loseAll();
    EXPECT_FALSE(std::filesystem::exists(home + "/t"));
}

} // namespace

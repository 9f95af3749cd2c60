/* What a Status reports about environments, with a real server, its backups and a disk that stalls. */
#include "format/backupnames.h"
#include "support/helddisk.h"
#include "support/pendingrequest.h"
#include "support/procfs.h"
#include "support/statusfixture.h"
#include "support/waituntil.h"

#include <filesystem>
#include <fstream>

namespace {

class StatusEnvironments : public StatusTest {
protected:
    using StatusTest::StatusTest;

    qulonglong count(const char* name) { return environment().value(name).toULongLong(); }
};

TEST_F(StatusEnvironments, CountWhatWasCommitted)
{
    createTable(tableName());
    const QVariantMap before = environment();
    for (int i = 0; i < 5; ++i)
        put("k", QString::number(i), {});
    put("k", "1", {}, {{"Expected", QVariantMap{{"a", QVariantMap{{"Value", textValue("x")}}}}}});
    get("k", "1");
    get("k", "none");
    remove("k", "2");
    request(
        "BatchWriteItem",
        {{"RequestItems",
          QVariantMap{{tableName(),
                       QVariantList{
                           QVariantMap{{"PutRequest", QVariantMap{{"Item", QVariantMap{{"h", textValue("k")},
                                                                                       {"r", textValue("7")}}}}}},
                           QVariantMap{{"PutRequest", QVariantMap{{"Item", QVariantMap{{"h", textValue("k")},
                                                                                       {"r", textValue("8")}}}}}}}}}}});
    const QVariantMap after = environment();
    const auto grown = [&](const char* name) {
        return after.value(name).toULongLong() - before.value(name).toULongLong();
    };
    EXPECT_EQ(grown("Commits"), 7U) << "five puts, a delete and a batch";
    EXPECT_EQ(grown("Aborts"), 1U) << "of the condition that did not hold";
    EXPECT_EQ(grown("Flushes"), 7U) << "each for one request";
    request("UpdateTable", {{"TableName", tableName()}, {"ProvisionedThroughput", QVariantMap{{"FlushDB", "1"}}}});
    EXPECT_EQ(count("Flushes"), after.value("Flushes").toULongLong() + 1);
}

TEST_F(StatusEnvironments, NameTheirTablesAndCountTheirFiles)
{
    createTable(tableName("orders"));
    createTable(tableName("items"));
    EXPECT_EQ(environment().value("OpenTables"), QVariantList({"items", "orders"}));
    EXPECT_EQ(count("Tables"), 2U);
    EXPECT_EQ(count("Files"), 2U);
    const auto databases = [&] {
        std::set<std::string> files;
        for (const auto& [descriptor, file] : ProcFs::descriptors(server_.pid())) {
            if (file.starts_with(home() + '/') && file.find("/log.") == std::string::npos)
                files.insert(file);
        }
        return files.size();
    };
    EXPECT_EQ(databases(), 2U);
    put("k", "1", {}, {{"TableName", tableName("orders")}});
    EXPECT_EQ(count("Files"), 3U);
    EXPECT_EQ(databases(), 3U);
    request("Scan", {{"TableName", tableName("orders")}});
    EXPECT_EQ(count("Files"), 3U) << "a scan creates none";
    EXPECT_EQ(databases(), 3U);
    EXPECT_EQ(count("Tables"), 2U);
}

TEST_F(StatusEnvironments, TellTheirBackup)
{
    createTable(tableName());
    EXPECT_EQ(environment().value("Backup"), (QVariantMap{{"State", "none"}}));
    const std::string target = makeDirectory("backup");
    std::ofstream(target + '/' + BackupNames::Marker) << "";
    const double before = status("Server").value("StartTime").toDouble();
    request("UpdateTable", {{"TableName", tableName()},
                            {"ProvisionedThroughput", QVariantMap{{"DbBackup", QString::fromStdString(target)}}}});
    ASSERT_TRUE(waitUntil([&] { return environment().value("Backup").toMap().value("State") == "shipping"; }))
        << testing::PrintToString(environment());
    const QVariantMap shipping = environment().value("Backup").toMap();
    EXPECT_EQ(shipping.keys(), QStringList({"Since", "State", "Target", "Until"}));
    EXPECT_EQ(shipping.value("Target"), QString::fromStdString(target));
    EXPECT_GE(shipping.value("Since").toDouble(), before);
    EXPECT_GE(shipping.value("Until").toDouble(), shipping.value("Since").toDouble());
    request("UpdateTable", {{"TableName", tableName()}, {"ProvisionedThroughput", QVariantMap{{"StopDbBackup", "1"}}}});
    EXPECT_TRUE(waitUntil([&] { return environment().value("Backup") == QVariantMap{{"State", "none"}}; }));
}

TEST_F(StatusEnvironments, TellForWhichBackupTheLogIsKeptAlsoAfterARestart)
{
    std::ofstream(home() + "/DB_CONFIG") << "#quorva remove_unneeded_logs on\n";
    createTable(tableName());
    EXPECT_FALSE(environment().contains("LogHeld"));
    const std::string target = makeDirectory("backup");
    std::ofstream(target + '/' + BackupNames::Marker) << "";
    request("UpdateTable", {{"TableName", tableName()},
                            {"ProvisionedThroughput", QVariantMap{{"DbBackup", QString::fromStdString(target)}}}});
    ASSERT_TRUE(waitUntil([&] { return environment().value("Backup").toMap().value("State") == "shipping"; }));
    const double since = environment().value("Backup").toMap().value("Since").toDouble();
    const QVariantMap held = environment().value("LogHeld").toMap();
    EXPECT_EQ(held.value("Target"), QString::fromStdString(target));
    EXPECT_NEAR(held.value("Since").toDouble(), since, 60) << "begun with the backup";

    restartServer();
    describe(tableName());
    EXPECT_EQ(environment().value("Backup"), (QVariantMap{{"State", "none"}}));
    EXPECT_EQ(environment().value("LogHeld"), held);
    EXPECT_EQ(request("Quorva_1.DescribeBackup", {{"TableName", tableName()}}),
              okReply({{"Backup", QVariantMap{{"State", "none"}}}}));
    request("UpdateTable", {{"TableName", tableName()}, {"ProvisionedThroughput", QVariantMap{{"StopDbBackup", "1"}}}});
    EXPECT_FALSE(environment().contains("LogHeld"));
}

class StatusHeldDisk : private WithHeldDisk, public StatusEnvironments {
protected:
    StatusHeldDisk() : StatusEnvironments({.environment = disk_.environment(QUORVA_HELDDISK_LIBRARY)}) {}

    void SetUp() override
    {
#ifdef QUORVA_SANITIZED
        GTEST_SKIP() << "a sanitizer wants to be the first library of its process";
#endif
        StatusEnvironments::SetUp();
    }

    HeldDisk& disk()
    {
        return disk_;
    }

    std::unique_ptr<PendingRequest> beginPut(const QString& range)
    {
        const QVariantMap item{{"h", textValue("k")}, {"r", textValue(range)}};
        return std::make_unique<PendingRequest>(server_, "PutItem",
                                                QVariantMap{{"TableName", tableName()}, {"Item", item}});
    }

    int repliesWaiting()
    {
        return status("Threads").value("RepliesWaiting").toInt();
    }
};

TEST_F(StatusHeldDisk, CountsRepliesThatWait)
{
    disk().prepare(home());
    createTable(tableName());
    put("k", "0", {});
    EXPECT_TRUE(waitUntil([&] { return repliesWaiting() == 0; })); // the reply may come before the count
    disk().hold(home());
    std::vector<std::unique_ptr<PendingRequest>> puts;
    for (int i = 1; i <= 3; ++i) {
        puts.push_back(beginPut(QString::number(i)));
        EXPECT_TRUE(waitUntil([&] { return repliesWaiting() == i; })) << i;
    }
    disk().release();
    for (const auto& one : puts)
        EXPECT_EQ(one->reply().value("__rc"), QVariant(200LL));
    EXPECT_TRUE(waitUntil([&] { return repliesWaiting() == 0; }));
}

/** Berkeley DB holds its log's mutex while it writes. */
TEST_F(StatusHeldDisk, IsAnsweredWhileTheLogCannotBeWritten)
{
    createTable(tableName());
    put("k", "0", {});
    const auto hasLog = [&] { return environment().contains("Log"); };
    ASSERT_TRUE(waitUntil(hasLog));
    const std::string other = makeDirectory("other");
    createTable(tableIn(other));
    ASSERT_TRUE(waitUntil([&] { return environmentIn(status(), other).contains("Log"); }));

    disk().holdWrites(home());
    const auto held = beginPut("1");
    ASSERT_TRUE(disk().holds());
    const double heldAt = environmentIn(status(), other).value("EngineTime").toDouble();
    for (int i = 0; i < 3; ++i) {
        const QVariantMap told = status();
        const QVariantMap stuck = environmentIn(told, home());
        EXPECT_TRUE(stuck.contains("Log")) << "as it was";
        EXPECT_LE(stuck.value("EngineTime").toDouble(), heldAt);
        EXPECT_EQ(stuck.value("Commits"), QVariant(3LL)) << "of the table, and two items";
    }
    EXPECT_TRUE(waitUntil([&] { return environmentIn(status(), other).value("EngineTime").toDouble() > heldAt; }))
        << "others are told as they are";
    EXPECT_FALSE(held->isAnswered());
    disk().release();
    EXPECT_EQ(held->reply().value("__rc"), QVariant(200LL));
    EXPECT_TRUE(waitUntil([&] { return environment().value("EngineTime").toDouble() > heldAt; }));
}

/** Neither a closing environment nor a request that waits for it delays the Status. */
TEST_F(StatusHeldDisk, IsAnsweredWhileAnEnvironmentCloses)
{
    disk().prepare(home());
    createTable(tableName());
    put("k", "0", {}); // which opens the file
    disk().hold(home());
    const auto held = beginPut("1");
    ASSERT_TRUE(disk().holds());
    PendingRequest closing(server_, "DeleteTable", {{"TableName", tableName()}});
    ASSERT_TRUE(waitUntil([&] { return status().value("Environments").toList().isEmpty(); }));
    PendingRequest reopening(server_, "DescribeTable", {{"TableName", tableName()}});
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(status().value("Environments").toList(), QVariantList());
    EXPECT_FALSE(closing.isAnswered());
    EXPECT_FALSE(reopening.isAnswered());
    disk().release();
    EXPECT_EQ(closing.reply().value("__rc"), QVariant(200LL));
    EXPECT_EQ(reopening.reply().value("__rc"), QVariant(200LL));
    EXPECT_EQ(held->reply().value("__rc"), QVariant(200LL));
}

} // namespace

#include "support/tablefixture.h"

#include <fstream>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

const QVariantMap Active{{"TableDescription", QVariantMap{{"TableStatus", "ACTIVE"}}}};

class UpdateTable : public TableTest {
protected:
    explicit UpdateTable(ServerProcess::Setup setup = {}) : TableTest(std::move(setup)) {}

    QVariantMap updateTable(const QVariant& actions)
    {
        return request("UpdateTable", {{"TableName", tableName()}, {"ProvisionedThroughput", actions}});
    }
    std::vector<std::string> takeDebugLines()
    {
        return takeLines([](const std::string& line) { return line.starts_with("[DEBUG] flushEnv"); });
    }
};

TEST_F(UpdateTable, ThroughputIsNotStored)
{
    createTable(tableName());
    const QVariantMap before = describe(tableName());
    EXPECT_EQ(updateTable(QVariantMap{{"ReadCapacityUnits", 99LL}, {"WriteCapacityUnits", 98LL}}), okReply(Active));
    EXPECT_EQ(describe(tableName()), before);
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(UpdateTable, NeedsNoTableButTheEnvironment)
{
    EXPECT_EQ(updateTable(throughput()), okReply(Active));
    EXPECT_THAT(takeComplaints(), IsEmpty());
    EXPECT_FALSE(std::filesystem::exists(home() + "/t"));
}

TEST_F(UpdateTable, WhatIsNoMapHoldsNoAction)
{
    EXPECT_EQ(request("UpdateTable", {{"TableName", tableName()}}), okReply(Active));
    for (const QVariant& other : {QVariant(), QVariant(5LL), QVariant(true), QVariant("FlushDB"),
                                  QVariant(QVariantList{"FlushDB"}), QVariant(QVariantMap{{"flushdb", 1LL}})})
        EXPECT_EQ(updateTable(other), okReply(Active));
    EXPECT_THAT(takeComplaints(), IsEmpty());
}

TEST_F(UpdateTable, MissingHomeIsNotFoundWithoutTableDescription)
{
    const std::string missing = home() + "/missing";
    EXPECT_EQ(request("UpdateTable", {{"TableName", tableIn(missing)}, {"ProvisionedThroughput", QVariantMap()}}),
              notFoundReply());
    EXPECT_THAT(takeComplaints(),
                ElementsAre("[CRIT] bdb # Failed to open env path: " + missing + " id env::" + missing + " rc 2"));
}

TEST_F(UpdateTable, FlushDbIsSilentWithoutDebugLines)
{
    EXPECT_EQ(updateTable(QVariantMap{{"FlushDB", 1LL}}), okReply(Active));
    EXPECT_THAT(takeLines([](const std::string& line) { return line.find("flushEnv") != std::string::npos; }),
                IsEmpty());
}

/** Of several actions, the first in this order is carried out. */
TEST_F(UpdateTable, DbBackupComesBeforeUpdateDbBackupAndStop)
{
    const QString target = QString::fromStdString(server_.directory() + "/backup");
    const std::string marker = makeDirectory("backup") + "/BackupInProgress.tmp";
    std::ofstream(marker).flush();
    createTable(tableName());
    EXPECT_EQ(updateTable(QVariantMap{{"DbBackup", target}, {"StopDbBackup", 1LL}, {"UpdateDbBackup", "other"}}),
              okReply(Active));
    EXPECT_TRUE(waitUntil([&] { return !std::filesystem::exists(marker); })); // the copy is complete
    EXPECT_TRUE(std::filesystem::exists(target.toStdString() + "/t"));
    EXPECT_THAT(server_.logText(), testing::Not(testing::HasSubstr("Disabling Database Backup")));
}

TEST_F(UpdateTable, UpdateDbBackupComesBeforeStopAndIsRefusedWhileItRuns)
{
    const QString target = QString::fromStdString(makeDirectory("backup"));
    EXPECT_EQ(updateTable(QVariantMap{{"StopDbBackup", 1LL}, {"UpdateDbBackup", target}}), okReply(Active));
    EXPECT_TRUE(server_.waitForLog("Done BDBHotBackupThread.log_archive"));
    EXPECT_THAT(server_.logText(), testing::Not(testing::HasSubstr("Starting BDBHotBackupThread.backup")));
    EXPECT_EQ(updateTable(QVariantMap{{"UpdateDbBackup", target}}), conditionFailedReply(Active));
    EXPECT_THAT(takeComplaints(), ElementsAre("[WARN] thread is already running for target " + target.toStdString()));
    EXPECT_THAT(server_.logText(), testing::Not(testing::HasSubstr("Disabling Database Backup")));
}

TEST_F(UpdateTable, StopDbBackupOfAnyValueStops)
{
    for (const QVariant& value :
         {QVariant(1LL), QVariant(), QVariant(false), QVariant("text"), QVariant(QVariantMap())}) {
        EXPECT_EQ(updateTable(QVariantMap{{"StopDbBackup", value}}), okReply(Active));
        EXPECT_THAT(takeLines([](const std::string& line) { return line.find("Backup") != std::string::npos; }),
                    ElementsAre("[INFO] Disabling Database Backup"));
    }
}

class UpdateTableAtDebug : public UpdateTable {
protected:
    UpdateTableAtDebug() : UpdateTable({.arguments = {"-s", "1"}}) {}
};

TEST_F(UpdateTableAtDebug, FlushDbOfAnyValueSaysSo)
{
    for (const QVariant& value : {QVariant(1LL), QVariant(0LL), QVariant(), QVariant(false), QVariant(""),
                                  QVariant(QVariantList()), QVariant(QVariantMap())}) {
        EXPECT_EQ(updateTable(QVariantMap{{"FlushDB", value}}), okReply(Active));
        EXPECT_THAT(takeDebugLines(), ElementsAre("[DEBUG] flushEnv success dbpath " + tableName().toStdString()));
    }
}

TEST_F(UpdateTableAtDebug, FlushDbComesBeforeAllOtherActions)
{
    EXPECT_EQ(updateTable(QVariantMap{{"DbBackup", QString::fromStdString(home() + "/backup")},
                                      {"FlushDB", 1LL},
                                      {"StopDbBackup", 1LL},
                                      {"UpdateDbBackup", QString::fromStdString(home() + "/backup")}}),
              okReply(Active));
    EXPECT_THAT(takeDebugLines(), ElementsAre("[DEBUG] flushEnv success dbpath " + tableName().toStdString()));
    EXPECT_FALSE(std::filesystem::exists(home() + "/backup"));
    EXPECT_EQ(updateTable(throughput()), okReply(Active));
    EXPECT_THAT(takeDebugLines(), IsEmpty());
}

class UpdateTableWithoutSync : public UpdateTable {
protected:
    UpdateTableWithoutSync() : UpdateTable({.arguments = {"-n"}}) {}
};

TEST_F(UpdateTableWithoutSync, FlushDbMakesCommittedItemsSurviveACrash)
{
    createTable(tableName());
    for (int i = 0; i < 20; ++i)
        put("k", QString::number(i), {{"a", numberValue(QString::number(i))}});
    EXPECT_EQ(updateTable(QVariantMap{{"FlushDB", 1LL}}), okReply(Active));
    restartServer();
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(get("k", QString::number(i)),
                  okReply({{"Item", QVariantMap{{"a", numberValue(QString::number(i))}}}}));
}

} // namespace

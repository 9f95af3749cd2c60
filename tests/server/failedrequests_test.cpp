/* What a Status reports about failed requests, compared with what was sent. */
#include "support/helddisk.h"
#include "support/statusfixture.h"

#include <gmock/gmock.h>

namespace {

using testing::MatchesRegex;

class FailedRequestsOf : public StatusTest {
protected:
    using StatusTest::StatusTest;

    /** The latest ones, newest first, without what differs from run to run. */
    QVariantList failures(qulonglong count)
    {
        const QVariantMap reply = status();
        EXPECT_EQ(reply.value("FailedRequestCount").toULongLong(), count);
        const double started = reply.value("Server").toMap().value("StartTime").toDouble();
        const double end = started + reply.value("Server").toMap().value("Uptime").toDouble() + 1;
        QVariantList list;
        for (const QVariant& entry : reply.value("FailedRequests").toList()) {
            QVariantMap failed = entry.toMap();
            EXPECT_THAT(failed.take("Peer").toString().toStdString(), MatchesRegex("127\\.0\\.0\\.1:[0-9]+"));
            const double time = failed.take("Time").toDouble();
            EXPECT_TRUE(time >= started && time <= end) << time;
            list.append(failed);
        }
        return list;
    }

    static QVariantMap failure(const QString& operation, int result, const QString& table, const QString& keys = {})
    {
        return {{"Operation", operation},
                {"Outcome", result == 3 ? "ResourceNotFoundException" : "InternalServerError"},
                {"Result", qlonglong(result)},
                {"Table", table},
                {"Keys", keys}};
    }
};

TEST_F(FailedRequestsOf, NameTheirTableAndKeysNewestFirst)
{
    createTable(tableName());
    const QString missing = tableIn(home() + "/none");
    const QString bad = tableName("../t");
    const QVariantMap item{{"h", textValue("k")}, {"r", textValue("\u00e4\"")}};
    request("GetItem", {{"TableName", missing}, {"Key", itemKey("a", "1")}});
    request("GetItem", {{"TableName", bad}, {"Key", itemKey("b", "2")}});
    request("Query", {{"TableName", tableName("u")}, {"HashKeyValue", textValue("c")}});
    request("Scan", {{"TableName", missing}});
    describe(tableName("u"));
    update("d", "1", {{"a", QVariantMap{{"Action", "PUT"}, {"Value", textValue("x")}}}});
    update("d", "1", {{"a", QVariantMap{{"Action", "ADD"}, {"Value", numberValue("1")}}}});
    request("BatchWriteItem",
            {{"RequestItems",
              QVariantMap{
                  {missing, QVariantList{QVariantMap{{"DeleteRequest", QVariantMap{{"Key", itemKey("e", "1")}}}}}}}}});
    request(
        "Quorva_1.Commit",
        {{"Entries", QVariantList{QVariantMap{{"TableName", missing}, {"Key", itemKey("f", "1")}, {"Delete", true}}}}});
    request("Quorva_1.ListTables", {{"Directory", "/none"}});
    request("Nothing", {{"TableName", "t"}});
    EXPECT_EQ(failures(10),
              QVariantList(
                  {failure("Unknown", 2, "t"), failure("ListTables", 3, "/none"),
                   failure("Commit", 3, missing, "\"f\" \"1\""), failure("BatchWriteItem", 3, missing, "\"e\" \"1\""),
                   failure("UpdateItem", 3, tableName(), "\"d\" \"1\""), failure("DescribeTable", 3, tableName("u")),
                   failure("Scan", 3, missing), failure("Query", 2, tableName("u"), "\"c\" \"\""),
                   failure("GetItem", 12, bad, "\"b\" \"2\""), failure("GetItem", 3, missing, "\"a\" \"1\"")}));
}

TEST_F(FailedRequestsOf, AreNotThoseThatTheirClientsExpect)
{
    createTable(tableName());
    put("k", "1", {});
    put("k", "1", {}, {{"Expected", QVariantMap{{"a", QVariantMap{{"Value", textValue("x")}}}}}});
    get("\u2713", "not Latin-1");
    request("Quorva_1.Commit", {});
    get("none", "1");
    EXPECT_EQ(failures(0), QVariantList());
}

TEST_F(FailedRequestsOf, AreKeptUpToANumberAndCounted)
{
    for (int i = 0; i < 20; ++i)
        describe(tableIn(home() + "/none", QString::number(i)));
    const QVariantList latest = failures(20);
    ASSERT_EQ(latest.size(), 16);
    EXPECT_EQ(latest.front().toMap(), failure("DescribeTable", 3, tableIn(home() + "/none", "19")));
    EXPECT_EQ(latest.back().toMap(), failure("DescribeTable", 3, tableIn(home() + "/none", "4")));
}

TEST_F(FailedRequestsOf, LongNamesAndKeysAreCutAndLargeBodiesNotReadAgain)
{
    const QString longKey(1000, u'x');
    const QString table = tableIn(home() + "/none", QString(1000, u't'));
    request("GetItem", {{"TableName", table}, {"Key", itemKey(longKey, "1")}});
    const QString missing = tableIn(home() + "/none");
    request("GetItem", {{"TableName", missing}, {"Key", itemKey("k", "1")}, {"x", QString(1024 * 1024, u'x')}});
    EXPECT_EQ(failures(2),
              QVariantList({failure("GetItem", 3, missing),
                            failure("GetItem", 3, table.left(256) + "...", '"' + longKey.left(64) + "\"... \"1\"")}));
}

class FailedFlush : private WithHeldDisk, public FailedRequestsOf {
protected:
    FailedFlush() : FailedRequestsOf({.environment = disk_.environment(QUORVA_HELDDISK_LIBRARY)}) {}

    void SetUp() override
    {
#ifdef QUORVA_SANITIZED
        GTEST_SKIP() << "a sanitizer wants to be the first library of its process";
#endif
        FailedRequestsOf::SetUp();
        disk_.prepare(home());
    }
    void fillDisk()
    {
        disk_.fill(home());
    }
};

TEST_F(FailedFlush, IsLoggedWithTheTable)
{
    createTable(tableName());
    ASSERT_EQ(put("k", "1", {}).value("__rc"), QVariant(200LL));
    ASSERT_TRUE(server_.waitForLog("Done txn_checkpoint")); // one that meets a full disk ends the server
    fillDisk();
    ASSERT_EQ(put("k", "2", {}).value("__type"), QVariant("InternalServerError"));
    const QVariantList told = failures(1);
    ASSERT_EQ(told.size(), 1);
    EXPECT_EQ(told.front().toMap().value("Operation"), "PutItem");
    EXPECT_EQ(told.front().toMap().value("Table"), tableName());
    EXPECT_EQ(told.front().toMap().value("Outcome"), "InternalServerError");
}

} // namespace

#ifndef QUORVA_TESTS_SERVER_WAITINGREPLIESFIXTURE_H
#define QUORVA_TESTS_SERVER_WAITINGREPLIESFIXTURE_H

#include "support/helddisk.h"
#include "support/pendingrequest.h"
#include "support/tablefixture.h"

#include <memory>
#include <string>
#include <utility>
#include <vector>

/** Items "k"/"1" to "k"/"9" with "n" 0, and "x"/"1" in another table, all durable. */
class WaitingReplies : private WithHeldDisk, public TableTest {
protected:
    explicit WaitingReplies(std::vector<std::string> arguments = {})
        : TableTest({.arguments = std::move(arguments), .environment = disk_.environment(QUORVA_HELDDISK_LIBRARY)})
    {}

    void SetUp() override
    {
#ifdef QUORVA_SANITIZED
        GTEST_SKIP() << "a sanitizer wants to be the first library of its process";
#endif
        TableTest::SetUp();
        disk().prepare(home());
        disk().prepare(makeDirectory("far"));
        for (const QString& table : {tableName(), tableName("other"), far()}) {
            createTable(table);
            ASSERT_TRUE(server_.waitForLog("Done txn_checkpoint")); // of home(): on a full disk it would end the server
            for (int i = 1; i <= 9; ++i)
                EXPECT_EQ(putInto(table, QString::number(i), 0).value("__rc"), QVariant(200LL));
        }
    }

    HeldDisk& disk()
    {
        return disk_;
    }
    QString far() const
    {
        return tableIn(server_.directory() + "/far");
    }

    static QVariantMap key(const char* range)
    {
        return itemKey("k", range);
    }
    static QVariantMap item(const QString& range, int n)
    {
        return {{"h", textValue("k")}, {"r", textValue(range)}, {"n", numberValue(QString::number(n))}};
    }
    static QVariantMap number(int n)
    {
        return {{"n", numberValue(QString::number(n))}};
    }
    /** A condition, and the update that sets the same. */
    static QVariantMap expectation(int n)
    {
        return {{"n", QVariantMap{{"Value", numberValue(QString::number(n))}}}};
    }
    static QVariantMap change(int n)
    {
        return {{"n", QVariantMap{{"Action", "PUT"}, {"Value", numberValue(QString::number(n))}}}};
    }
    QVariantMap putInto(const QString& table, const QString& range, int n)
    {
        return request("PutItem", {{"TableName", table}, {"Item", item(range, n)}});
    }

    using Request = std::unique_ptr<PendingRequest>;
    Request begin(const QByteArray& operation, const QVariantMap& body)
    {
        return std::make_unique<PendingRequest>(server_, operation, merged({{"TableName", tableName()}}, body));
    }
    Request beginPut(const char* range, int n)
    {
        return begin("PutItem", {{"Item", item(range, n)}});
    }
    Request beginBatch(const QVariantMap& tables)
    {
        return begin("BatchWriteItem", {{"RequestItems", tables}});
    }
    static QVariantList entries(const char* range, int n)
    {
        return {QVariantMap{{"PutRequest", QVariantMap{{"Item", item(range, n)}}}}};
    }

    /** Others are served, of the same environment and of another one, long after these could have been. */
    template <typename... Requests> void expectOnlyTheseWait(const Requests&... requests)
    {
        for (int i = 1; i <= 30; ++i) {
            const QVariantMap get{{"Key", key("1")}};
            EXPECT_EQ(request("GetItem", merged({{"TableName", tableName("other")}}, get)),
                      okReply({{"Item", number(0)}}));
            EXPECT_EQ(putInto(far(), "1", i), okReply({{"Attributes", number(i)}}));
        }
        for (const bool isAnswered : {requests->isAnswered()...})
            EXPECT_FALSE(isAnswered);
        EXPECT_TRUE(disk().exists("held"));
    }
    int numberOf(const QString& range)
    {
        const QVariantMap reply = request("GetItem", {{"TableName", tableName()}, {"Key", itemKey("k", range)}});
        EXPECT_EQ(reply.value("__rc"), QVariant(200LL));
        const QVariantMap found = reply.value("Item").toMap();
        return found.isEmpty() ? -1 : found.value("n").toMap().value("N").toString().toInt();
    }
};

#endif

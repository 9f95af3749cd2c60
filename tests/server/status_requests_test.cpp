/* What a Status reports about requests, bytes and connections, compared with what was done. */
#include "protocol/framing.h"
#include "support/statusfixture.h"
#include "support/waituntil.h"

#include <numeric>

namespace {

using Counts = QMap<QString, qulonglong>;

class StatusRequests : public StatusTest {};

TEST_F(StatusRequests, AreCountedByOperationAndOutcome)
{
    EXPECT_EQ(requestCounts(status()), Counts());
    createTable(tableName());
    for (int i = 0; i < 7; ++i)
        put("k", QString::number(i), {});
    const QVariantMap refused{{"Expected", QVariantMap{{"a", QVariantMap{{"Value", textValue("x")}}}}}};
    put("k", "1", {}, refused);
    put("k", "2", {}, refused);
    get("k", "1");
    get("k", "none");
    get("\u2713", "not Latin-1");
    update("k", "1", {{"a", QVariantMap{{"Action", "ADD"}, {"Value", QVariantMap{{"S", "x"}, {"N", "1"}}}}}});
    remove("k", "3");
    request("Query", {{"TableName", tableName()}, {"HashKeyValue", textValue("k")}});
    request("Scan", {{"TableName", tableName()}});
    request("Scan", {{"TableName", tableName("none")}});
    request("BatchWriteItem", {{"RequestItems", QVariantMap{{tableName(), QVariantList()}}}});
    request("UpdateTable", {{"TableName", tableName()}});
    describe(tableName());
    describe(tableIn("/none"));
    request("Quorva_1.DescribeBackup", {{"TableName", tableName()}});
    request("ListTables", {});
    request("Quorva_1.Nothing", {});
    request("DeleteTable", {{"TableName", tableName()}});

    const Counts expected{{"BatchWriteItem Success", 1},
                          {"CreateTable Success", 1},
                          {"DeleteItem Success", 1},
                          {"DeleteTable Success", 1},
                          {"DescribeBackup Success", 1},
                          {"DescribeTable ResourceNotFoundException", 1},
                          {"DescribeTable Success", 1},
                          {"GetItem Success", 2},
                          {"GetItem ValidationException", 1},
                          {"PutItem ConditionalCheckFailedException", 2},
                          {"PutItem Success", 7},
                          {"Query Success", 1},
                          {"Scan InternalServerError", 1},
                          {"Scan Success", 1},
                          {"Status Success", 1},
                          {"Unknown InternalServerError", 2},
                          {"UpdateItem Success", 1},
                          {"UpdateTable Success", 1}};
    EXPECT_EQ(requestCounts(status()), expected);
}

TEST_F(StatusRequests, HaveAHistogramWhoseSumIsTheirNumber)
{
    for (int i = 0; i < 20; ++i)
        request("Nothing", {});
    const QVariantMap reply = status();
    const QVariantList bounds = reply.value("LatencyBounds").toList();
    ASSERT_EQ(reply.value("Requests").toList().size(), 1);
    const QVariantMap row = reply.value("Requests").toList().front().toMap();
    EXPECT_EQ(row.keys(), QStringList({"Count", "Latencies", "Microseconds", "Operation", "Outcome"}));
    const QVariantList latencies = row.value("Latencies").toList();
    ASSERT_EQ(latencies.size(), bounds.size() + 1);
    qulonglong total = 0;
    qulonglong least = 0;
    for (qsizetype i = 0; i < latencies.size(); ++i) {
        const qulonglong inClass = latencies[i].toULongLong();
        total += inClass;
        least += inClass * (i == 0 ? 0 : bounds[i - 1].toULongLong());
    }
    EXPECT_EQ(total, 20U);
    EXPECT_EQ(row.value("Count"), 20U);
    const qulonglong sum = row.value("Microseconds").toULongLong();
    EXPECT_GT(sum, 0U);
    EXPECT_GE(sum, least);
}

TEST_F(StatusRequests, AreNotCountedUnlessTheyAreAnswered)
{
    Client::WireConnection broken = server_.connect();
    ASSERT_TRUE(broken.send(Framing::frameRequest("DynamoDB_20111205.GetItem", "no JSON")));
    QByteArray reply;
    EXPECT_FALSE(broken.receiveReply(&reply));
    EXPECT_EQ(requestCounts(status()), Counts());
}

TEST_F(StatusRequests, HaveTheirBytesCounted)
{
    const QVariantMap before = status("Bytes");
    const QByteArray asking = Framing::frameRequest("Quorva_1.Status", "{}");
    const QByteArray frame = Framing::frameRequest("DynamoDB_20111205.Nothing", "{\"a\":1}");
    Client::WireConnection connection = server_.connect();
    qulonglong sent = 0;
    for (int i = 0; i < 5; ++i) {
        QByteArray reply;
        ASSERT_TRUE(connection.send(frame));
        ASSERT_TRUE(connection.receiveReply(&reply));
        sent += static_cast<qulonglong>(reply.size() + qsizetype{Framing::LengthSize});
    }
    QByteArray first;
    QByteArray second;
    ASSERT_TRUE(connection.exchange("Quorva_1.Status", "{}", &first));
    ASSERT_TRUE(connection.exchange("Quorva_1.Status", "{}", &second));
    const auto bytes = [](const QByteArray& text) {
        QVariant value;
        EXPECT_TRUE(Json::parse(text, &value));
        return value.toMap().value("Bytes").toMap();
    };
    const qulonglong received = before.value("Received").toULongLong() + 5ULL * frame.size();
    EXPECT_EQ(bytes(first).value("Received"), received + asking.size()) << "its own included";
    EXPECT_EQ(bytes(second).value("Received"), received + 2ULL * asking.size());
    EXPECT_EQ(bytes(second).value("Sent").toULongLong() - bytes(first).value("Sent").toULongLong(),
              static_cast<qulonglong>(first.size()) + Framing::LengthSize)
        << "without its own";
    EXPECT_GE(bytes(first).value("Sent").toULongLong(), before.value("Sent").toULongLong() + sent);
}

} // namespace

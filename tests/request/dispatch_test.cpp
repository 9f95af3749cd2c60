#include "support/tablefixture.h"

#include "protocol/framing.h"
#include "protocol/operations.h"

#include <poll.h>
#include <sys/socket.h>

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/** True when the server closes the connection without sending a byte. */
bool endsWithoutReply(const Client::WireConnection& connection)
{
    pollfd readable{connection.socketDescriptor(), POLLIN, 0};
    char byte = 0;
    return poll(&readable, 1, static_cast<int>(ServerProcess::Deadline.count())) == 1 &&
           recv(connection.socketDescriptor(), &byte, 1, 0) <= 0;
}

class Dispatch : public TableTest {
protected:
    /** A reply that only Scan sends, without visiting the partitions, as the table has no schema. */
    const QVariantMap scanWithoutSchema_ =
        internalErrorReply({{"Count", 0LL}, {"ScannedCount", 0LL}, {"Items", QVariantList()}});
};

TEST_F(Dispatch, EveryNameReachesItsOperation)
{
    const QVariantMap description{{"CreationDateTime", 123456LL},
                                  {"KeySchema", keySchema()},
                                  {"ProvisionedThroughput", throughput()},
                                  {"TableName", tableName()},
                                  {"TableStatus", "ACTIVE"}};
    const QVariantMap table{{"TableName", tableName()}};
    const QVariantMap item{{"h", textValue("k")}, {"r", textValue("1")}, {"a", textValue("x")}};
    const QVariantMap key = merged(table, {{"Key", itemKey("k", "1")}});
    const QVariantMap stored{{"a", textValue("x")}};

    EXPECT_EQ(request("DynamoDB_20111205.CreateTable",
                      merged(table, {{"KeySchema", keySchema()}, {"ProvisionedThroughput", throughput()}})),
              okReply({{"TableDescription", description}}));
    EXPECT_EQ(request("DynamoDB_20111205.DescribeTable", table),
              okReply({{"Table", merged(description, {{"ItemCount", 1LL}, {"TableSizeBytes", 0LL}})}}));
    EXPECT_EQ(request("DynamoDB_20111205.UpdateTable", table),
              okReply({{"TableDescription", QVariantMap{{"TableStatus", "ACTIVE"}}}}));
    EXPECT_EQ(request("DynamoDB_20111205.PutItem", merged(table, {{"Item", item}})), okReply({{"Attributes", stored}}));
    EXPECT_EQ(request("DynamoDB_20111205.GetItem", key), okReply({{"Item", stored}}));
    EXPECT_EQ(request("DynamoDB_20111205.Query", merged(table, {{"HashKeyValue", textValue("k")}})),
              okReply({{"Count", 1LL}, {"Items", QVariantList{item}}}));
    EXPECT_EQ(request("DynamoDB_20111205.UpdateItem",
                      merged(key, {{"ReturnValues", "UPDATED_NEW"},
                                   {"AttributeUpdates",
                                    QVariantMap{{"b", QVariantMap{{"Action", "PUT"}, {"Value", numberValue("1")}}}}}})),
              okReply({{"Attributes", QVariantMap{{"b", numberValue("1")}}}}));
    EXPECT_EQ(request("DynamoDB_20111205.DeleteItem", merged(key, {{"ReturnValues", "ALL_OLD"}})),
              okReply({{"Attributes", merged(stored, {{"b", numberValue("1")}})}}));
    EXPECT_EQ(
        request("DynamoDB_20111205.BatchWriteItem", {{"RequestItems", QVariantMap{{tableName(), QVariantList()}}}}),
        okReply());
    EXPECT_EQ(request("DynamoDB_20111205.DeleteTable", table), okReply());
    EXPECT_THAT(takeComplaints(), IsEmpty());
    EXPECT_EQ(request("DynamoDB_20111205.Scan", {{"TableName", tableName("none")}}), scanWithoutSchema_);
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # schema load failed rc 3", composeError(2)));
}

TEST_F(Dispatch, UnknownNamesAreAnInternalErrorWithTwoLines)
{
    const std::string longest(64, 'x');
    for (const std::string& name :
         {std::string("dynamodb_20111205.Query"), std::string("DynamoDB_20111205.query"),
          std::string("DynamoDB_20120810.Query"), std::string("DynamoDB_20111205.ListTables"),
          std::string("DynamoDB_20111205.BatchGetItem"), std::string("DynamoDB_20111205.Quer"),
          std::string("DynamoDB_20111205.Query "), std::string(" DynamoDB_20111205.Query"),
          std::string("DynamoDB_20111205.Query.Query"), std::string("DynamoDB_20111205."), std::string("\xc3\xa4."),
          longest}) {
        Caller caller(server_);
        QByteArray text;
        ASSERT_TRUE(caller.connection().exchange(QByteArray::fromStdString(name), "{}", &text)) << name;
        QVariant reply;
        ASSERT_TRUE(Json::parse(text, &reply));
        EXPECT_EQ(reply.toMap(), internalErrorReply()) << name;
        EXPECT_THAT(takeComplaints(),
                    ElementsAre("[ERROR] bdbrequest 120 Unknown request opcode is " + name, composeError(2)));
    }
}

TEST_F(Dispatch, TheEmptyNameIsUnknown)
{
    Caller caller(server_);
    QByteArray text;
    ASSERT_TRUE(caller.connection().exchange("", "{}", &text));
    QVariant reply;
    ASSERT_TRUE(Json::parse(text, &reply));
    EXPECT_EQ(reply.toMap(), internalErrorReply());
    EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest 120 Unknown request opcode is ", composeError(2)));
}

TEST_F(Dispatch, NameEndsAtItsFirstZeroByte)
{
    using namespace std::string_literals;
    for (const std::string& name :
         {"DynamoDB_20111205.Scan\0"s, "DynamoDB_20111205.Scan\0DynamoDB_20111205.Query"s,
          "DynamoDB_20111205.Scan\0\xff\0"s, "DynamoDB_20111205.Scan\0"s + std::string(41, 'x')}) {
        Caller caller(server_);
        EXPECT_EQ(caller.request(QByteArray::fromStdString(name), {{"TableName", tableName()}}), scanWithoutSchema_)
            << name;
        EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # schema load failed rc 3", composeError(2)));
    }

    const std::string cut = "DynamoDB_20111205\0.Scan"s;
    Caller caller(server_);
    EXPECT_EQ(caller.request(QByteArray::fromStdString(cut), {{"TableName", tableName()}}), internalErrorReply());
    // Its log line ends there, too.
    EXPECT_THAT(takeComplaints(),
                ElementsAre("[ERROR] bdbrequest 120 Unknown request opcode is DynamoDB_20111205", composeError(2)));
}

TEST_F(Dispatch, NameOf65BytesClosesTheConnectionQuietly)
{
    Client::WireConnection connection = server_.connect();
    ASSERT_TRUE(connection.send(Framing::frameRequest(QByteArray(65, 'x'), "{}")));
    EXPECT_TRUE(endsWithoutReply(connection));
    EXPECT_EQ(request("DeleteTable", {}), okReply()); // other connections are unaffected
    EXPECT_THAT(takeComplaints(), ElementsAre("[CRIT] bdb # Failed to load env with id: env::"));
}

TEST_F(Dispatch, RepliesAreOneObjectInTheOrderOfItsNames)
{
    createTable(tableName());
    Caller caller(server_);
    const auto textOf = [&](const QByteArray& operation, const QVariantMap& body) {
        QByteArray text;
        EXPECT_TRUE(caller.connection().exchange(Operations::fullName(operation), Json::serialize(body), &text));
        return text;
    };
    const QVariantMap item{{"TableName", tableName()}, {"Key", itemKey("k", "1")}};
    const QVariantMap never{{"Expected", QVariantMap{{"a", QVariantMap{{"Value", textValue("x")}}}}}};
    EXPECT_EQ(textOf("GetItem", item), R"({"__rc":200,"__rcstr":"OK"})");
    EXPECT_EQ(textOf("UpdateTable", item),
              R"({"TableDescription":{"TableStatus":"ACTIVE"},"__rc":200,"__rcstr":"OK"})");
    EXPECT_EQ(textOf("DeleteItem", merged(item, never)),
              R"({"Attributes":{},"__rc":400,"__rcstr":"Bad Request","__type":"ConditionalCheckFailedException",)"
              R"("message":"The conditional request failed."})");
}

TEST_F(Dispatch, BodyThatIsNoObjectIsAnEmptyRequest)
{
    for (const QByteArray body :
         {"[]", "[1,2]", "5", "-1.5e3", "\"text\"", "null", "true", " false ", "[{\"TableName\":\"x\"}]", "{}"}) {
        Caller caller(server_);
        EXPECT_EQ(caller.requestText("CreateTable", body), notFoundReply()) << body.toStdString();
        EXPECT_THAT(takeComplaints(), ElementsAre("[CRIT] bdb # Failed to open env path:  id env:: rc 2"));
        EXPECT_EQ(caller.requestText("BatchWriteItem", body), invalidRequestReply()) << body.toStdString();
        EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbrequest # empty request"));
    }
}

TEST_F(Dispatch, MalformedJsonClosesOnlyThatConnection)
{
    createTable(tableName());
    Caller bystander(server_);
    const QVariantMap described = bystander.request("DescribeTable", {{"TableName", tableName()}});
    const QByteArray deep = QByteArray(200000, '[') + QByteArray(200000, ']');
    for (const QByteArray& body :
         {QByteArray(""), QByteArray("{"), QByteArray("}"), QByteArray("{} {}"), QByteArray("{}x"),
          QByteArray("{\"a\"}"), QByteArray("{'a':1}"), QByteArray("{\"a\":1,}"), QByteArray("\0", 1),
          QByteArray("{}\0", 3), QByteArray("{\"a\":\"\xff\"}"), QByteArray("{\"a\":\"\\ud800\"}"),
          QByteArray("{\"a\":1e999}"), QByteArray("nul"), deep}) {
        Client::WireConnection connection = server_.connect();
        ASSERT_TRUE(connection.send(Framing::frameRequest("DynamoDB_20111205.DescribeTable", body)));
        EXPECT_TRUE(endsWithoutReply(connection)) << body.left(40).toStdString();
        EXPECT_THAT(takeComplaints(), ElementsAre("[ERROR] bdbioworker 579 parser error"))
            << body.left(40).toStdString();
        EXPECT_EQ(bystander.request("DescribeTable", {{"TableName", tableName()}}), described);
    }
}

TEST_F(Dispatch, FailuresLeaveTheConnectionOpen)
{
    createTable(tableName());
    Caller caller(server_);
    const QVariantMap table{{"TableName", tableName()}};
    const QVariantMap item{{"h", textValue("k")}, {"r", textValue("1")}};
    const QVariantMap latin{{"h", textValue(QString(QChar(0x100)))}, {"r", textValue("1")}};
    const QVariantMap never{{"a", QVariantMap{{"Value", textValue("x")}}}};
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(caller.request("PutItem", merged(table, {{"Item", item}, {"Expected", never}})),
                  conditionFailedReply());
        EXPECT_EQ(caller.request("Nothing", table), internalErrorReply());
        EXPECT_EQ(caller.request("DescribeTable", {}), notFoundReply());
        EXPECT_EQ(caller.request("PutItem", merged(table, {{"Item", latin}})), invalidRequestReply());
        EXPECT_EQ(caller.request("GetItem", merged(table, {{"Key", itemKey("k", "1")}})), okReply());
    }
}

} // namespace

#include "net/bdbreqhandler.h"

#include "probehandler.h"
#include "protocol/framing.h"
#include "requests.h"
#include "support/expectedreplies.h"
#include "support/logcapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

using testing::ElementsAre;
using testing::IsEmpty;

TEST(BDBReqHandler, StartsWithAnEmptyRequest)
{
    BDBObjTable environments(16);
    ProbeHandler handler(&environments);
    EXPECT_EQ(handler.socketDescriptor(), 42);
    EXPECT_FALSE(handler.isReadComplete());
    EXPECT_TRUE(handler.reply().isEmpty());
    EXPECT_EQ(handler.request().table.registry(), &environments);
    EXPECT_EQ(handler.request().table.env(), nullptr);
    EXPECT_EQ(handler.request().status, 0);
}

TEST(Handle, BeforeTheRequestIsCompleteItFails)
{
    const LogCapture log;
    ProbeHandler handler;
    ASSERT_EQ(handler.append(headerFor(UnknownOperation, 2) + "{"), 0);
    EXPECT_EQ(handler.handle(), -1);
    EXPECT_THAT(log.lines(), ElementsAre("[ERROR] bdbioworker 573 handler running while read wasnt completed"));
    EXPECT_TRUE(handler.reply().isEmpty());
}

TEST(Handle, BodyThatIsNoJsonFailsWithoutAReply)
{
    for (const char* body : {"", "{", "{} {}", "{\"a\":}", "nonsense", "\xff\xfe"}) {
        SCOPED_TRACE(body);
        const LogCapture log;
        ProbeHandler handler;
        ASSERT_EQ(handler.append(Framing::frameRequest(UnknownOperation, body)), 0);
        EXPECT_EQ(handler.handle(), -1);
        EXPECT_THAT(log.lines(), ElementsAre("[ERROR] bdbioworker 579 parser error"));
        EXPECT_TRUE(handler.reply().isEmpty());
    }
}

TEST(Handle, UnknownOperationIsAnsweredAsInternalError)
{
    const LogCapture log;
    ProbeHandler handler;
    ASSERT_EQ(handler.append(Framing::frameRequest(UnknownOperation, "{\"TableName\":\"x\"}")), 0);
    EXPECT_EQ(handler.handle(), 0);
    EXPECT_EQ(parseReply(handler.replyText()), internalErrorReply());
    EXPECT_EQ(handler.request().status, 2);
    EXPECT_THAT(log.lines(), ElementsAre("[ERROR] bdbrequest 120 Unknown request opcode is DynamoDB_20111205.Nothing",
                                         "[ERROR] bdbioworker 628 composeReply Error 2"));
}

TEST(Handle, JsonThatIsNoObjectIsDispatchedAllTheSame)
{
    for (const char* body : {"[1,2]", "17", "\"text\"", "null", "true"}) {
        SCOPED_TRACE(body);
        ProbeHandler handler;
        ASSERT_EQ(handler.append(Framing::frameRequest(UnknownOperation, body)), 0);
        EXPECT_EQ(handler.handle(), 0);
        EXPECT_EQ(parseReply(handler.replyText()), internalErrorReply());
    }
}

TEST(HandleIfShort, AnswersLikeHandle)
{
    const LogCapture log;
    ProbeHandler handler;
    EXPECT_EQ(handler.handleIfShort(), -1); // not complete
    ASSERT_EQ(handler.append(Framing::frameRequest(UnknownOperation, "{}")), 0);
    EXPECT_EQ(handler.handleIfShort(), 0);
    EXPECT_EQ(parseReply(handler.replyText()), internalErrorReply());

    ProbeHandler malformed;
    ASSERT_EQ(malformed.append(Framing::frameRequest(UnknownOperation, "nonsense")), 0);
    EXPECT_EQ(malformed.handleIfShort(), -1);
    EXPECT_THAT(log.lines(),
                ElementsAre("[ERROR] bdbioworker 573 handler running while read wasnt completed",
                            "[ERROR] bdbrequest 120 Unknown request opcode is DynamoDB_20111205.Nothing",
                            "[ERROR] bdbioworker 628 composeReply Error 2", "[ERROR] bdbioworker 579 parser error"));
}

TEST(HandleIfShort, LeavesALongRequestAsItCame)
{
    const QByteArray body =
        R"({"TableName":"missing|t","Key":{"HashKeyElement":{"S":"h"},"RangeKeyElement":{"S":"r"}}})";
    for (const QByteArray operation : // in an environment that is not open
         {"DynamoDB_20111205.GetItem", "DynamoDB_20111205.PutItem", "DynamoDB_20111205.Query"}) {
        SCOPED_TRACE(operation.toStdString());
        const LogCapture log;
        BDBObjTable environments(16);
        ProbeHandler handler(&environments);
        ASSERT_EQ(handler.append(Framing::frameRequest(operation, body)), 0);
        EXPECT_EQ(handler.duration(), Requests::Duration::Short);
        EXPECT_EQ(handler.handleIfShort(), BDBReqHandler::TakesLong);
        EXPECT_TRUE(handler.reply().isEmpty());
        EXPECT_TRUE(handler.isReadComplete());
        EXPECT_EQ(handler.request().operation, operation);
        EXPECT_EQ(handler.request().body, body);
        EXPECT_TRUE(handler.request().parsedBody.isEmpty());
        EXPECT_TRUE(handler.request().reply.isEmpty());
        EXPECT_EQ(handler.request().status, 0);
        EXPECT_FALSE(handler.request().table.onlyFinds());
        EXPECT_THAT(log.lines(), IsEmpty());
    }
}

TEST(HandleIfShort, ALongRequestIsHandledAsIfForTheFirstTime)
{
    const LogCapture log(LogWarn);
    BDBObjTable environments(16);
    ProbeHandler handler(&environments);
    ASSERT_EQ(handler.append(Framing::frameRequest("DynamoDB_20111205.GetItem", R"({"TableName":"missing|t"})")), 0);
    ASSERT_EQ(handler.handleIfShort(), BDBReqHandler::TakesLong);
    EXPECT_EQ(handler.handle(), 0);
    EXPECT_EQ(parseReply(handler.replyText()), notFoundReply());
    EXPECT_EQ(log.lines().size(), 1u) << log.text(); // the failed open
}

TEST(Handle, KeepsNothingButTheReply)
{
    ProbeHandler handler;
    ASSERT_EQ(handler.append(Framing::frameRequest(UnknownOperation, bodyOfSize(100000))), 0);
    ASSERT_EQ(handler.handle(), 0);
    EXPECT_EQ(handler.request().body.capacity(), 0);
    EXPECT_TRUE(handler.request().parsedBody.isEmpty());
    EXPECT_TRUE(handler.request().reply.isEmpty());
}

TEST(ComposeReply, SuccessHasTheOperationsFieldsAndTheEnvelope)
{
    const LogCapture log;
    ProbeHandler handler;
    handler.request().reply = {{"Item", QVariantMap{{"k", "v"}}}, {"ConsumedCapacityUnits", 1}};
    handler.composeReply();
    EXPECT_EQ(handler.replyText(), R"({"ConsumedCapacityUnits":1,"Item":{"k":"v"},"__rc":200,"__rcstr":"OK"})");
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ComposeReply, FieldsComeInOrderOfTheirNames)
{
    ProbeHandler handler;
    handler.request().status = 3;
    handler.request().reply = {{"TableDescription", 1}, {"UnprocessedItems", 2}, {"Item", 3}};
    handler.composeReply();
    EXPECT_EQ(handler.replyText(),
              R"({"Item":3,"TableDescription":1,"UnprocessedItems":2,"__rc":400,"__rcstr":"Not Found",)"
              R"("__type":"ResourceNotFoundException",)"
              R"("message":"Specified item does not exist."})");
}

TEST(ComposeReply, ExpectedFailuresLeaveNoLine)
{
    for (const int status : {0, 1, 3, 4}) {
        const LogCapture log;
        ProbeHandler handler;
        handler.request().status = status;
        handler.composeReply();
        EXPECT_EQ(parseReply(handler.replyText())["__rc"], status == 0 ? 200 : 400);
        EXPECT_THAT(log.lines(), IsEmpty()) << status;
    }
}

TEST(ComposeReply, OtherStatusesAreLoggedAndAnsweredAsInternalErrors)
{
    for (const int status : {2, 5, 12, 22, -30993}) {
        const LogCapture log;
        ProbeHandler handler;
        handler.request().status = status;
        handler.composeReply();
        EXPECT_EQ(parseReply(handler.replyText()), internalErrorReply());
        EXPECT_THAT(log.lines(), ElementsAre("[ERROR] bdbioworker 628 composeReply Error " + std::to_string(status)));
    }
}

TEST(ComposeReply, ReplacesEarlierReplyBytes)
{
    ProbeHandler handler;
    handler.setReply("old bytes");
    handler.composeReply();
    EXPECT_EQ(handler.replyText(), R"({"__rc":200,"__rcstr":"OK"})");
}

TEST(Reset, MakesRoomForTheNextRequest)
{
    BDBObjTable environments(16);
    ProbeHandler handler(&environments);
    ASSERT_EQ(handler.append(Framing::frameRequest("First", bodyOfSize(100000))), 0);
    handler.request().status = 4;
    handler.request().table.setKeySchema({});
    handler.setReply(QByteArray(100000, 'r'));
    handler.reset();

    EXPECT_FALSE(handler.isReadComplete());
    EXPECT_EQ(handler.reply().capacity(), 0);
    EXPECT_EQ(handler.request().body.capacity(), 0);
    EXPECT_TRUE(handler.request().operation.isEmpty());
    EXPECT_EQ(handler.request().status, 0);
    EXPECT_FALSE(handler.request().table.keySchema());
    EXPECT_EQ(handler.request().table.registry(), &environments);

    ASSERT_EQ(handler.append(Framing::frameRequest("Second", "{}")), 0);
    EXPECT_TRUE(handler.isReadComplete());
    EXPECT_EQ(handler.request().operation, "Second");
    EXPECT_EQ(handler.request().body, "{}");
}

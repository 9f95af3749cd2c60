#include "net/bdbreqhandler.h"

#include "netsupport.h"
#include "protocol/framing.h"
#include "support/logcapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const QByteArray unknownOperation = "DynamoDB_20111205.Nothing";

/** A handler without a socket, whose request and reply can be looked at. */
class ProbeHandler : public BDBReqHandler {
public:
    explicit ProbeHandler(BDBObjTable* environments = nullptr) : BDBReqHandler(1024, 256, environments, 42) {}

    const TransferBuffer& sendBuffer() override { return none_; }

    using BDBReqHandler::reply;
    using BDBReqHandler::request;

    int append(const QByteArray& piece) { return appendData(piece.constData(), static_cast<unsigned>(piece.size())); }

    /** The reply without its prefix, which must tell its length. */
    QByteArray replyText() const
    {
        if (reply().size() < 4)
            return "reply without prefix";
        EXPECT_EQ(Framing::readLength(reply().constData()), reply().size() - 4);
        return reply().mid(4);
    }

private:
    TransferBuffer none_;
};

} // namespace

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

TEST(AppendData, TakesARequestInOnePiece)
{
    ProbeHandler handler;
    ASSERT_EQ(handler.append(Framing::frameRequest("Op", "{\"a\":1}")), 0);
    EXPECT_TRUE(handler.isReadComplete());
    EXPECT_EQ(handler.request().operation, "Op");
    EXPECT_EQ(handler.request().body, "{\"a\":1}");
}

TEST(AppendData, IsCompleteWithTheLastByteOnly)
{
    const QByteArray body = bodyOfSize(10000);
    const QByteArray frame = Framing::frameRequest(unknownOperation, body);
    ProbeHandler handler;
    ASSERT_EQ(handler.append(frame.left(4096)), 0);
    for (qsizetype at = 4096; at < frame.size(); ++at) {
        ASSERT_FALSE(handler.isReadComplete());
        ASSERT_EQ(handler.append(frame.mid(at, 1)), 0);
    }
    EXPECT_TRUE(handler.isReadComplete());
    EXPECT_EQ(handler.request().operation, unknownOperation);
    EXPECT_EQ(handler.request().body, body);
}

TEST(AppendData, BodyMayBeginInTheSecondPiece)
{
    ProbeHandler handler;
    ASSERT_EQ(handler.append(headerFor("Op", 2)), 0);
    EXPECT_FALSE(handler.isReadComplete());
    ASSERT_EQ(handler.append("{}"), 0);
    EXPECT_TRUE(handler.isReadComplete());
    EXPECT_EQ(handler.request().body, "{}");
}

TEST(AppendData, BodyLengthZeroCompletesAtTheHeader)
{
    ProbeHandler handler;
    ASSERT_EQ(handler.append(headerFor("Op", 0)), 0);
    EXPECT_TRUE(handler.isReadComplete());
    EXPECT_EQ(handler.request().operation, "Op");
    EXPECT_TRUE(handler.request().body.isEmpty());
}

TEST(AppendData, BytesBehindTheBodyInTheSamePieceStayInTheBody)
{
    const QByteArray second = Framing::frameRequest("Second", "{}");
    ProbeHandler handler;
    ASSERT_EQ(handler.append(Framing::frameRequest("First", "{}") + second), 0);
    EXPECT_TRUE(handler.isReadComplete());
    EXPECT_EQ(handler.request().operation, "First");
    EXPECT_EQ(handler.request().body, "{}" + second);
}

TEST(AppendData, BytesBehindTheBodyInALaterPieceStayInTheBody)
{
    ProbeHandler handler;
    ASSERT_EQ(handler.append(headerFor("First", 4)), 0);
    ASSERT_EQ(handler.append("{}"), 0);
    ASSERT_EQ(handler.append("  tail"), 0);
    EXPECT_TRUE(handler.isReadComplete());
    EXPECT_EQ(handler.request().body, "{}  tail");
}

TEST(AppendData, NameOf64BytesIsTakenAnd65AreNot)
{
    ProbeHandler longest;
    EXPECT_EQ(longest.append(Framing::frameRequest(QByteArray(64, 'n'), "{}")), 0);
    EXPECT_EQ(longest.request().operation, QByteArray(64, 'n'));

    ProbeHandler tooLong;
    EXPECT_EQ(tooLong.append(Framing::frameRequest(QByteArray(65, 'n'), "{}")), -1);
    EXPECT_FALSE(tooLong.isReadComplete());
    EXPECT_TRUE(tooLong.request().operation.isEmpty());
}

TEST(AppendData, HeaderInTwoPiecesIsRefusedWithoutALine)
{
    const LogCapture log;
    const QByteArray frame = Framing::frameRequest("Op", "{}");
    for (qsizetype length = 1; length < 10; ++length) {
        ProbeHandler handler;
        EXPECT_EQ(handler.append(frame.left(length)), -1) << length;
    }
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(AppendData, DeclaredLengthAloneAllocatesNothing)
{
    ProbeHandler handler;
    ASSERT_EQ(handler.append(headerFor("Op", 0xffffffff)), 0);
    EXPECT_EQ(handler.request().body.capacity(), 0);
    ASSERT_EQ(handler.append(QByteArray(4096, 'x')), 0);
    EXPECT_FALSE(handler.isReadComplete());
    EXPECT_LE(handler.request().body.capacity(), 16 * 1024);
}

TEST(AppendData, LargeBodiesAreRarelyMovedAndNeverHaveMoreRoomThanDeclared)
{
    constexpr qsizetype Size = 64 * 1024 * 1024 + 123;
    const QByteArray piece(4096, 'x');
    ProbeHandler handler;
    ASSERT_EQ(handler.append(headerFor("Op", Size)), 0);
    int moves = 0;
    qsizetype capacity = 0;
    for (qsizetype at = 0; at < Size; at += piece.size()) {
        ASSERT_EQ(handler.append(piece.left(Size - at)), 0);
        if (handler.request().body.capacity() != capacity)
            ++moves;
        capacity = handler.request().body.capacity();
    }
    EXPECT_TRUE(handler.isReadComplete());
    EXPECT_EQ(handler.request().body.size(), Size);
    EXPECT_LE(moves, 14);
    EXPECT_EQ(capacity, Size);
}

TEST(ParseHeader, TellsTheHeadersSize)
{
    ProbeHandler handler;
    const QByteArray frame = Framing::frameRequest("Name", "body");
    unsigned consumed = 0;
    ASSERT_EQ(handler.parseHeader(frame.constData(), &consumed, static_cast<unsigned>(frame.size())), 0);
    EXPECT_EQ(consumed, 12u);
    EXPECT_EQ(handler.request().operation, "Name");
}

TEST(Handle, BeforeTheRequestIsCompleteItFails)
{
    const LogCapture log;
    ProbeHandler handler;
    ASSERT_EQ(handler.append(headerFor(unknownOperation, 2) + "{"), 0);
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
        ASSERT_EQ(handler.append(Framing::frameRequest(unknownOperation, body)), 0);
        EXPECT_EQ(handler.handle(), -1);
        EXPECT_THAT(log.lines(), ElementsAre("[ERROR] bdbioworker 579 parser error"));
        EXPECT_TRUE(handler.reply().isEmpty());
    }
}

TEST(Handle, UnknownOperationIsAnsweredAsInternalError)
{
    const LogCapture log;
    ProbeHandler handler;
    ASSERT_EQ(handler.append(Framing::frameRequest(unknownOperation, "{\"TableName\":\"x\"}")), 0);
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
        ASSERT_EQ(handler.append(Framing::frameRequest(unknownOperation, body)), 0);
        EXPECT_EQ(handler.handle(), 0);
        EXPECT_EQ(parseReply(handler.replyText()), internalErrorReply());
    }
}

TEST(Handle, KeepsNothingButTheReply)
{
    ProbeHandler handler;
    ASSERT_EQ(handler.append(Framing::frameRequest(unknownOperation, bodyOfSize(100000))), 0);
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

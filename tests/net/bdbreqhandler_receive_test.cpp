// Requests put together from the pieces that arrive.
#include "net/bdbreqhandler.h"

#include "probehandler.h"
#include "protocol/framing.h"
#include "requests.h"
#include "support/logcapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using testing::IsEmpty;

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
    const QByteArray frame = Framing::frameRequest(UnknownOperation, body);
    ProbeHandler handler;
    ASSERT_EQ(handler.append(frame.left(4096)), 0);
    for (qsizetype at = 4096; at < frame.size(); ++at) {
        ASSERT_FALSE(handler.isReadComplete());
        ASSERT_EQ(handler.append(frame.mid(at, 1)), 0);
    }
    EXPECT_TRUE(handler.isReadComplete());
    EXPECT_EQ(handler.request().operation, UnknownOperation);
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

TEST(AppendData, BytesAfterTheBodyInTheSameChunkStayInTheBody)
{
    const QByteArray second = Framing::frameRequest("Second", "{}");
    ProbeHandler handler;
    ASSERT_EQ(handler.append(Framing::frameRequest("First", "{}") + second), 0);
    EXPECT_TRUE(handler.isReadComplete());
    EXPECT_EQ(handler.request().operation, "First");
    EXPECT_EQ(handler.request().body, "{}" + second);
}

TEST(AppendData, BytesAfterTheBodyInALaterChunkStayInTheBody)
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

TEST(ParseHeader, ReturnsTheHeadersSize)
{
    ProbeHandler handler;
    const QByteArray frame = Framing::frameRequest("Name", "body");
    unsigned consumed = 0;
    ASSERT_EQ(handler.parseHeader(frame.constData(), &consumed, static_cast<unsigned>(frame.size())), 0);
    EXPECT_EQ(consumed, 12u);
    EXPECT_EQ(handler.request().operation, "Name");
}

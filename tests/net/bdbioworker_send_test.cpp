// Sending replies, also to clients that do not read them.
#include "net/bdbioworker_linux.h"

#include "iobench.h"
#include "net/dbhandler.h"
#include "netsupport.h"
#include "protocol/framing.h"
#include "requests.h"
#include "support/expectedreplies.h"
#include "support/logcapture.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cerrno>
#include <cstddef>
#include <cstdint>

namespace {

/** Bytes that differ at every position, zero bytes among them, so that a part that is lost or sent twice shows. */
QByteArray patternOf(qsizetype size)
{
    QByteArray bytes(size, '\0');
    for (qsizetype i = 0; i + 4 <= size; i += 4)
        Framing::writeLength(static_cast<std::uint32_t>(i), bytes.data() + i);
    return bytes;
}

/** Sends into `socket` until its buffer is full; returns the number of bytes. */
qsizetype fill(int socket)
{
    const QByteArray filler(65536, 'f');
    qsizetype total = 0;
    for (;;) {
        const ssize_t n = send(socket, filler.constData(), std::size_t(filler.size()), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n < 0)
            break;
        total += n;
    }
    return total;
}

/** Sends a reply over the socket, as far as that is possible at once: no worker runs yet. */
BDBReqHandler_linux* postReply(IoBench* bench, int socket, const QByteArray& reply)
{
    EXPECT_EQ(bench->master.port().open(), 0);
    BDBReqHandler_linux* handler = bench->associatedHandler(socket);
    handler->setReply(reply);
    EXPECT_EQ(bench->worker.postWrite(handler), 0);
    return handler;
}

constexpr qsizetype LargeReply = 8 * 1024 * 1024; // far more than the buffers of a TcpPair

} // namespace

TEST(PostWrite, SendsImmediatelyAndReadsTheNextRequest)
{
    TcpPair pair;
    IoBench bench;
    BDBReqHandler_linux* handler = postReply(&bench, pair.server.release(), "a reply");
    // The sending thread did all of this.
    EXPECT_EQ(readBytes(pair.client.number(), 7), "a reply");
    EXPECT_EQ(handler->transferState(), BDBReqHandler_linux::Reading);
    EXPECT_EQ(handler->sendBuffer().length, 0u);

    bench.master.init(1, 1);
    ASSERT_TRUE(sendAll(pair.client.number(), UnknownRequest));
    EXPECT_EQ(receiveReply(pair.client.number()), internalErrorReply());
}

TEST(PostWrite, ALargeReplyArrivesWholeAndTheConnectionContinues)
{
    const QByteArray reply = patternOf(LargeReply);
    TcpPair pair;
    IoBench bench;
    BDBReqHandler_linux* handler = postReply(&bench, pair.server.release(), reply);
    EXPECT_EQ(handler->transferState(), BDBReqHandler_linux::Writing);

    bench.master.init(2, 1);
    EXPECT_TRUE(readBytes(pair.client.number(), reply.size()) == reply);
    ASSERT_TRUE(sendAll(pair.client.number(), UnknownRequest));
    EXPECT_EQ(receiveReply(pair.client.number()), internalErrorReply());
}

TEST(PostWrite, ARestThatBeginsWithAZeroByteIsSentToo)
{
    // Where the first send ends cannot be foretold, so a zero byte comes next wherever it does.
    QByteArray reply(LargeReply, '\0');
    reply.append("the end");
    TcpPair pair;
    IoBench bench;
    (void)postReply(&bench, pair.server.release(), reply); // ignored: the handler is not needed
    bench.master.init(1, 1);
    EXPECT_TRUE(readBytes(pair.client.number(), reply.size()) == reply);
}

TEST(PostWrite, AClientThatDoesNotReadKeepsNoThread)
{
    TcpPair idle;
    TcpPair active;
    IoBench bench;
    bench.master.init(1, 1);
    BDBReqHandler_linux* handler = bench.associatedHandler(idle.server.release());
    const QByteArray reply = patternOf(LargeReply);
    handler->setReply(reply);
    ASSERT_EQ(bench.worker.postWrite(handler), 0);

    ASSERT_EQ(bench.worker.addConnection(active.server.release()), 0);
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(sendAll(active.client.number(), UnknownRequest));
        EXPECT_EQ(receiveReply(active.client.number()), internalErrorReply());
    }
    EXPECT_TRUE(readBytes(idle.client.number(), LargeReply) == reply);
}

TEST(PostWrite, AClientThatGoesAwayInTheMiddleOfItsReplyIsForgotten)
{
    TcpPair pair;
    const int socket = pair.server.number();
    IoBench bench;
    bench.master.init(1, 1);
    BDBReqHandler_linux* handler = bench.associatedHandler(pair.server.release());
    handler->setReply(patternOf(LargeReply));
    ASSERT_EQ(bench.worker.postWrite(handler), 0);
    ASSERT_EQ(readBytes(pair.client.number(), 100000).size(), 100000);
    resetConnection(pair.client);
    EXPECT_TRUE(waitUntil([&] { return !isOpen(socket); }));
}

TEST(PostWrite, WouldBlockClosesTheConnection)
{
    UnixPair pair;
    const int socket = pair.server.number();
    const LogCapture log(LogWarn);
    IoBench bench;
    ASSERT_EQ(bench.master.port().open(), 0);
    BDBReqHandler_linux* handler = bench.associatedHandler(pair.server.release());
    const qsizetype filled = fill(socket);
    ASSERT_EQ(append(*handler, UnknownRequest), 0);
    DBHandler(handler, &bench.worker).run();
    EXPECT_FALSE(isOpen(socket));
    // The client receives what was sent before, and no byte of the reply.
    EXPECT_EQ(readBytes(pair.client.number(), filled + 1).size(), filled);
    EXPECT_EQ(log.count("bdbioworker"), 1u); // "composeReply Error 2", nothing about the send
}

TEST(PostWrite, SendingToAClientThatIsGoneFailsWithoutASignal)
{
    TcpPair pair;
    const int socket = pair.server.number();
    IoBench bench;
    ASSERT_EQ(bench.master.port().open(), 0);
    BDBReqHandler_linux* handler = bench.associatedHandler(pair.server.release());
    resetConnection(pair.client);
    char byte = 0;
    ASSERT_TRUE(waitUntil([&] { return recv(socket, &byte, 1, 0) < 0 && errno == ECONNRESET; }));
    handler->setReply("a reply");
    EXPECT_EQ(bench.worker.postWrite(handler), -1); // broken pipe
    EXPECT_EQ(bench.worker.closeConnection(handler), 0);
}

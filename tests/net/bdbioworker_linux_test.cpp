#include "net/bdbioworker_linux.h"

#include "net/bdbreqhandler_linux.h"
#include "net/dbhandler.h"
#include "netsupport.h"
#include "protocol/framing.h"
#include "support/logcapture.h"
#include "support/systemcallfilter.h"
#include "support/waituntil.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <thread>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

const QByteArray request = Framing::frameRequest("DynamoDB_20111205.Nothing", "{}");

bool sendAll(int socket, const QByteArray& bytes)
{
    for (qsizetype sent = 0; sent < bytes.size();) {
        const ssize_t n = send(socket, bytes.constData() + sent, std::size_t(bytes.size() - sent), MSG_NOSIGNAL);
        if (n < 0)
            return false;
        sent += n;
    }
    return true;
}

/** Reads one reply; what a request to an unknown operation is answered with, when all is well. */
QVariantMap receiveReply(int socket)
{
    const QByteArray prefix = readBytes(socket, 4);
    if (prefix.size() != 4)
        return {};
    return parseReply(readBytes(socket, Framing::readLength(prefix.constData())));
}

/** Bytes in which every position looks different, zero bytes included, so that a lost or doubled part shows. */
QByteArray patternOf(qsizetype size)
{
    QByteArray bytes(size, '\0');
    for (qsizetype i = 0; i + 4 <= size; i += 4)
        Framing::writeLength(static_cast<std::uint32_t>(i), bytes.data() + i);
    return bytes;
}

int append(BDBReqHandler& handler, const QByteArray& piece)
{
    return handler.appendData(piece.constData(), static_cast<unsigned>(piece.size()));
}

/** Sends into `socket` until the system takes nothing more; returns how much it took. */
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

constexpr qsizetype LargeReply = 8 * 1024 * 1024; // far more than the buffers of a TcpPair

} // namespace

TEST(StartWorker, StartsOnce)
{
    const LogCapture log;
    IoBench bench;
    ASSERT_EQ(bench.worker.startWorker(), 0);
    EXPECT_TRUE(bench.worker.isRunning());
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(bench.worker.startWorker(), -1);
    EXPECT_THAT(log.lines(), ElementsAre("[ERROR] bdbioworker 67 Worker is already running"));
}

TEST(StartWorker, FailsWithoutAPort)
{
    const LogCapture log;
    IoBench bench;
    {
        const NoFurtherDescriptors none;
        EXPECT_EQ(bench.worker.startWorker(), -1);
    }
    EXPECT_FALSE(bench.worker.isRunning());
    EXPECT_THAT(log.lines(), ElementsAre("[ERROR] bdbioworker 76 IOCP port creation failed 24"));
}

TEST(StartWorker, FailsWithoutAThread)
{
    IoBench bench;
    int rc = 0;
    if (!runWithFailingCalls({__NR_clone, __NR_clone3}, EAGAIN, [&] { rc = bench.worker.startWorker(); }))
        GTEST_SKIP() << "this system has no filters for system calls";
    EXPECT_EQ(rc, -1);
    EXPECT_FALSE(bench.worker.isRunning());
    EXPECT_EQ(bench.worker.startWorker(), 0); // it may be tried again
}

TEST(AddConnection, ServesTheSocket)
{
    TcpPair pair;
    IoBench bench;
    bench.master.init(2, 2);
    ASSERT_EQ(bench.worker.addConnection(pair.server.release()), 0);
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(sendAll(pair.client.number(), request));
        EXPECT_EQ(receiveReply(pair.client.number()), internalErrorReply());
    }
}

TEST(AddConnection, RefusesInvalidNumbers)
{
    const LogCapture log;
    IoBench bench;
    EXPECT_EQ(bench.worker.addConnection(-1), -1);
    EXPECT_THAT(log.lines(), ElementsAre("[WARN] invalid sd -1"));
}

TEST(AddConnection, ClosesASocketThatCannotBeServed)
{
    const int file = open("/proc/self/exe", O_RDONLY | O_CLOEXEC); // nothing to wait for
    const std::string number = std::to_string(file);
    const LogCapture log;
    IoBench bench;
    ASSERT_EQ(bench.master.port().open(), 0);
    EXPECT_EQ(bench.worker.addConnection(file), -1);
    EXPECT_FALSE(isOpen(file));
    EXPECT_THAT(log.lines(),
                ElementsAre("[WARN] setsockopt failed sd " + number + " error " + std::to_string(ENOTSOCK),
                            "[ERROR] bdbioworker 229 Association to io port faild sd " + number + " error 1"));
}

TEST(AddConnection, ClosesTheSocketWhenThereIsNoMemoryForItsHandler)
{
    if (MemoryIsSanitized)
        GTEST_SKIP() << "the sanitizer's allocator needs address space of its own";
    TcpPair pair;
    const int socket = pair.server.release();
    const LogCapture log;
    BDBIOMaster master(1024, 1 << 28, nullptr); // a table of 2 GiB per connection
    BDBIOWorker_linux worker(1024, 1 << 28, nullptr, &master);
    ASSERT_EQ(master.port().open(), 0);
    {
        const SoftLimit little(RLIMIT_AS, rlim_t(1) << 30);
        EXPECT_EQ(worker.addConnection(socket), -1);
    }
    EXPECT_FALSE(isOpen(socket));
    EXPECT_THAT(log.lines(), ElementsAre("[ERROR] bdbioworker 209 Object creation failed"));
}

TEST(Associate, FailureLeavesTheHandlerToTheCaller)
{
    const Base::Descriptor file(open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
    const LogCapture log;
    IoBench bench;
    ASSERT_EQ(bench.master.port().open(), 0);
    BDBReqHandler* handler = bench.createHandler(dup(file.number()));
    const int socket = handler->socketDescriptor();
    EXPECT_EQ(bench.worker.associate(handler), -1);
    EXPECT_TRUE(isOpen(socket));
    EXPECT_THAT(log.lines(), ElementsAre("[ERROR] bdbioworker 229 Association to io port faild sd " +
                                         std::to_string(socket) + " error 1"));
    EXPECT_EQ(bench.worker.closeConnection(handler), 0);
    EXPECT_FALSE(isOpen(socket));
}

TEST(Receive, DataAfterACompleteRequestClosesTheConnection)
{
    TcpPair pair;
    const std::string number = std::to_string(pair.server.number());
    const LogCapture log(LogError);
    IoBench bench;
    ASSERT_EQ(bench.master.port().open(), 0);
    BDBReqHandler_linux* handler = bench.createHandler(pair.server.release());
    ASSERT_EQ(append(*handler, request), 0);
    ASSERT_EQ(bench.worker.associate(handler), 0);
    ASSERT_TRUE(sendAll(pair.client.number(), "x"));
    bench.master.init(1, 1);
    EXPECT_TRUE(endsWithoutData(pair.client.number()));
    EXPECT_THAT(log.lines(), ElementsAre("[ERROR] bdbioworker 124 Read is already completed sd " + number));
}

TEST(Receive, UnknownTransferStateClosesTheConnection)
{
    TcpPair pair;
    const std::string number = std::to_string(pair.server.number());
    const LogCapture log(LogError);
    IoBench bench;
    ASSERT_EQ(bench.master.port().open(), 0);
    BDBReqHandler_linux* handler = bench.createHandler(pair.server.release());
    ASSERT_EQ(bench.worker.associate(handler), 0);
    handler->setTransferState(2);
    ASSERT_TRUE(sendAll(pair.client.number(), "x"));
    bench.master.init(1, 1);
    EXPECT_TRUE(endsWithoutData(pair.client.number()));
    EXPECT_THAT(log.lines(), ElementsAre("[ERROR] bdbioworker 158 INvalid case on sd " + number));
}

TEST(Receive, AFastSenderLeavesTheWorkerToOthers)
{
    // Two connections wait when the only worker starts, the first with more than a worker takes in a row. Its request
    // is whole and comes first all the same unless the worker turns to the second one in between.
    const QByteArray large = Framing::frameRequest("Large", bodyOfSize(280 * 1024));
    UnixPair first;
    const int size = 1 << 20;
    setsockopt(first.client.number(), SOL_SOCKET, SO_SNDBUF, &size, sizeof size);
    fcntl(first.client.number(), F_SETFL, O_NONBLOCK);
    ASSERT_TRUE(sendAll(first.client.number(), large)) << "this system's buffers are too small";
    TcpPair second;
    ASSERT_TRUE(sendAll(second.client.number(), Framing::frameRequest("Small", "{}")));

    const LogCapture log;
    IoBench bench;
    ASSERT_EQ(bench.master.port().open(), 0);
    ASSERT_EQ(bench.worker.associate(bench.createHandler(first.server.release())), 0);
    ASSERT_EQ(bench.worker.associate(bench.createHandler(second.server.release())), 0);
    bench.master.init(1, 1);
    EXPECT_EQ(receiveReply(first.client.number()), internalErrorReply());
    EXPECT_EQ(receiveReply(second.client.number()), internalErrorReply());
    const std::string text = log.text();
    EXPECT_LT(text.find("opcode is Small"), text.find("opcode is Large"));
}

TEST(Receive, AMemoryShortageClosesThatConnectionOnly)
{
    if (MemoryIsSanitized)
        GTEST_SKIP() << "the sanitizer's allocator needs address space of its own";
    TcpPair greedy;
    TcpPair modest;
    IoBench bench;
    bench.master.init(1, 1);
    ASSERT_EQ(bench.worker.addConnection(greedy.server.release()), 0);
    ASSERT_EQ(bench.worker.addConnection(modest.server.release()), 0);
    ASSERT_TRUE(sendAll(modest.client.number(), request)); // so that all threads exist
    ASSERT_EQ(receiveReply(modest.client.number()), internalErrorReply());

    rlim_t pages = 0;
    std::ifstream("/proc/self/statm") >> pages;
    const QByteArray chunk(1 << 20, 'x');
    const SoftLimit little(RLIMIT_AS, pages * rlim_t(sysconf(_SC_PAGESIZE)) + (rlim_t(64) << 20));
    QByteArray header = Framing::frameRequest("Op", {});
    header[header.size() - 4] = 0x40; // 1 GiB
    bool taken = sendAll(greedy.client.number(), header);
    for (int sent = 0; taken && sent < 1024; ++sent)
        taken = sendAll(greedy.client.number(), chunk);
    EXPECT_FALSE(taken);

    ASSERT_TRUE(sendAll(modest.client.number(), request));
    EXPECT_EQ(receiveReply(modest.client.number()), internalErrorReply());
}

TEST(PostRead, FailsForASocketOutsideThePort)
{
    TcpPair pair;
    IoBench bench;
    ASSERT_EQ(bench.master.port().open(), 0);
    BDBReqHandler* handler = bench.createHandler(pair.server.release());
    EXPECT_EQ(bench.worker.postRead(handler), -1);
}

TEST(PostWrite, SendsAtOnceAndReadsTheNextRequest)
{
    TcpPair pair;
    IoBench bench;
    ASSERT_EQ(bench.master.port().open(), 0);
    BDBReqHandler_linux* handler = bench.createHandler(pair.server.release());
    ASSERT_EQ(bench.worker.associate(handler), 0);
    handler->setReply("a reply");
    EXPECT_EQ(bench.worker.postWrite(handler), 0);
    // No worker runs yet: all of this was done by the thread that sent.
    EXPECT_EQ(readBytes(pair.client.number(), 7), "a reply");
    EXPECT_EQ(handler->transferState(), BDBReqHandler_linux::Reading);
    EXPECT_EQ(handler->sendBuffer().length, 0u);

    bench.master.init(1, 1);
    ASSERT_TRUE(sendAll(pair.client.number(), request));
    EXPECT_EQ(receiveReply(pair.client.number()), internalErrorReply());
}

TEST(PostWrite, ALargeReplyArrivesWholeAndTheConnectionGoesOn)
{
    const QByteArray reply = patternOf(LargeReply);
    TcpPair pair;
    IoBench bench;
    ASSERT_EQ(bench.master.port().open(), 0);
    BDBReqHandler_linux* handler = bench.createHandler(pair.server.release());
    ASSERT_EQ(bench.worker.associate(handler), 0);
    handler->setReply(reply);
    EXPECT_EQ(bench.worker.postWrite(handler), 0);
    EXPECT_EQ(handler->transferState(), BDBReqHandler_linux::Writing);

    bench.master.init(2, 1);
    EXPECT_TRUE(readBytes(pair.client.number(), reply.size()) == reply);
    ASSERT_TRUE(sendAll(pair.client.number(), request));
    EXPECT_EQ(receiveReply(pair.client.number()), internalErrorReply());
}

TEST(PostWrite, ARestThatBeginsWithAZeroByteIsSentToo)
{
    // The first send takes an amount that nobody can foretell, so wherever it ends, a zero byte comes next.
    QByteArray reply(LargeReply, '\0');
    reply.append("the end");
    TcpPair pair;
    IoBench bench;
    ASSERT_EQ(bench.master.port().open(), 0);
    BDBReqHandler_linux* handler = bench.createHandler(pair.server.release());
    ASSERT_EQ(bench.worker.associate(handler), 0);
    handler->setReply(reply);
    EXPECT_EQ(bench.worker.postWrite(handler), 0);
    bench.master.init(1, 1);
    EXPECT_TRUE(readBytes(pair.client.number(), reply.size()) == reply);
}

TEST(PostWrite, AClientThatDoesNotReadKeepsNoThread)
{
    TcpPair idle;
    TcpPair active;
    IoBench bench;
    bench.master.init(1, 1);
    BDBReqHandler_linux* handler = bench.createHandler(idle.server.release());
    ASSERT_EQ(bench.worker.associate(handler), 0);
    const QByteArray reply = patternOf(LargeReply);
    handler->setReply(reply);
    ASSERT_EQ(bench.worker.postWrite(handler), 0);

    ASSERT_EQ(bench.worker.addConnection(active.server.release()), 0);
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(sendAll(active.client.number(), request));
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
    BDBReqHandler_linux* handler = bench.createHandler(pair.server.release());
    ASSERT_EQ(bench.worker.associate(handler), 0);
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
    BDBReqHandler_linux* handler = bench.createHandler(pair.server.release());
    ASSERT_EQ(bench.worker.associate(handler), 0);
    const qsizetype filled = fill(socket);
    ASSERT_EQ(append(*handler, request), 0);
    DBHandler(handler, &bench.worker).run();
    EXPECT_FALSE(isOpen(socket));
    // The client finds what was on its way before, and no byte of the reply.
    EXPECT_EQ(readBytes(pair.client.number(), filled + 1).size(), filled);
    EXPECT_EQ(log.count("bdbioworker"), 1u); // "composeReply Error 2", nothing about the send
}

TEST(PostWrite, SendingToAClientThatIsGoneFailsWithoutASignal)
{
    TcpPair pair;
    const int socket = pair.server.number();
    IoBench bench;
    ASSERT_EQ(bench.master.port().open(), 0);
    BDBReqHandler_linux* handler = bench.createHandler(pair.server.release());
    ASSERT_EQ(bench.worker.associate(handler), 0);
    resetConnection(pair.client);
    char byte = 0;
    ASSERT_TRUE(waitUntil([&] { return recv(socket, &byte, 1, 0) < 0 && errno == ECONNRESET; }));
    handler->setReply("a reply");
    EXPECT_EQ(bench.worker.postWrite(handler), -1); // broken pipe
    EXPECT_EQ(bench.worker.closeConnection(handler), 0);
}

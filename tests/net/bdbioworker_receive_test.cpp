// Reading requests from sockets.
#include "net/bdbioworker_linux.h"

#include "iobench.h"
#include "netsupport.h"
#include "requests.h"
#include "support/expectedreplies.h"
#include "support/logcapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <string>

using testing::ElementsAre;

namespace {

/**
 * Lets a worker take a byte that a client has sent to the handler that `prepare` has made of a socket. It closes the
 * connection, with a line that names the socket at its end.
 */
template <typename Prepare> void expectCloses(Prepare prepare, const std::string& line)
{
    TcpPair pair;
    const std::string number = std::to_string(pair.server.number());
    const LogCapture log(LogError);
    IoBench bench;
    ASSERT_EQ(bench.master.port().open(), 0);
    ASSERT_NO_FATAL_FAILURE(prepare(&bench, pair.server.release()));
    ASSERT_TRUE(sendAll(pair.client.number(), "x"));
    bench.master.init(1, 1);
    EXPECT_TRUE(endsWithoutData(pair.client.number()));
    EXPECT_THAT(log.lines(), ElementsAre("[ERROR] bdbioworker " + line + " sd " + number));
}

} // namespace

TEST(Receive, DataAfterACompleteRequestClosesTheConnection)
{
    expectCloses(
        [](IoBench* bench, int socket) {
            BDBReqHandler_linux* handler = bench->createHandler(socket);
            ASSERT_EQ(append(*handler, UnknownRequest), 0);
            ASSERT_EQ(bench->worker.associate(handler), 0);
        },
        "124 Read is already completed");
}

TEST(Receive, UnknownTransferStateClosesTheConnection)
{
    expectCloses([](IoBench* bench, int socket) { bench->associatedHandler(socket)->setTransferState(2); },
                 "158 INvalid case on");
}

TEST(Receive, AFastSenderLeavesTheWorkerToOthers)
{
    // Two connections are readable when the only worker starts, the first with more than a worker reads in one go. Its
    // request would come first all the same, unless the worker turns to the second connection in between.
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
    (void)bench.associatedHandler(first.server.release());
    (void)bench.associatedHandler(second.server.release());
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
    ASSERT_TRUE(sendAll(modest.client.number(), UnknownRequest)); // so that all threads exist
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

    ASSERT_TRUE(sendAll(modest.client.number(), UnknownRequest));
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

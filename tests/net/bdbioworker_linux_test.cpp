#include "net/bdbioworker_linux.h"

#include "iobench.h"
#include "netsupport.h"
#include "requests.h"
#include "support/expectedreplies.h"
#include "support/logcapture.h"
#include "support/systemcallfilter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

using testing::ElementsAre;
using testing::IsEmpty;

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
    EXPECT_EQ(bench.worker.startWorker(), 0); // a second attempt works
}

TEST(AddConnection, ServesTheSocket)
{
    TcpPair pair;
    IoBench bench;
    bench.master.init(2, 2);
    ASSERT_EQ(bench.worker.addConnection(pair.server.release()), 0);
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(sendAll(pair.client.number(), UnknownRequest));
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
    const int file = open("/proc/self/exe", O_RDONLY | O_CLOEXEC); // epoll cannot wait for it
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

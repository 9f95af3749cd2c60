#include "net/bdbioworker.h"

#include "iobench.h"
#include "netsupport.h"
#include "support/logcapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <netinet/tcp.h>

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

int optionOf(int socket, int level, int option)
{
    int value = -1;
    socklen_t size = sizeof value;
    getsockopt(socket, level, option, &value, &size);
    return value;
}

} // namespace

TEST(ConfigureSocket, SetsNoDelayAndNonBlocking)
{
    const LogCapture log;
    const Base::Descriptor socket(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    IoBench bench;
    EXPECT_EQ(bench.worker.configureSocket(socket.number()), 0);
    EXPECT_NE(optionOf(socket.number(), IPPROTO_TCP, TCP_NODELAY), 0);
    EXPECT_NE(fcntl(socket.number(), F_GETFL) & O_NONBLOCK, 0);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST(ConfigureSocket, RefusesInvalidNumbers)
{
    for (const int socket : {0, -1, -100}) {
        const LogCapture log;
        IoBench bench;
        EXPECT_EQ(bench.worker.configureSocket(socket), -1);
        EXPECT_THAT(log.lines(), ElementsAre("[WARN] invalid sd " + std::to_string(socket)));
    }
}

TEST(ConfigureSocket, ContinuesWithoutNoDelay)
{
    const UnixPair pair; // has no such option
    const int socket = pair.server.number();
    const LogCapture log;
    IoBench bench;
    EXPECT_EQ(bench.worker.configureSocket(socket), 0);
    EXPECT_THAT(log.lines(), ElementsAre("[WARN] setsockopt failed sd " + std::to_string(socket) + " error " +
                                         std::to_string(EOPNOTSUPP)));
    EXPECT_NE(fcntl(socket, F_GETFL) & O_NONBLOCK, 0);
}

TEST(ConfigureSocket, RefusesASocketThatCannotBeMadeNonBlocking)
{
    const int closed = 1000000;
    const LogCapture log;
    IoBench bench;
    EXPECT_EQ(bench.worker.configureSocket(closed), -1);
    EXPECT_THAT(log.lines(), ElementsAre("[WARN] setsockopt failed sd 1000000 error 9",
                                         "[ERROR] bdbioworker 174 failed to set nonblocking state sd 1000000 error 9"));
}

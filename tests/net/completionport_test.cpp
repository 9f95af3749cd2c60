#include "net/completionport.h"

#include "netsupport.h"
#include "support/background.h"
#include "support/waituntil.h"

#include <gtest/gtest.h>

#include <sys/epoll.h>

#include <atomic>
#include <future>
#include <thread>
#include <vector>

namespace {

/** What the keys point to. */
int keys[2];

/** An open port, and two connections on which it waits for data, each with its key. */
struct TwoConnections {
    TwoConnections()
    {
        EXPECT_EQ(port.open(), 0);
        EXPECT_EQ(port.associate(first.server.number(), &keys[0], EPOLLIN), 0);
        EXPECT_EQ(port.associate(second.server.number(), &keys[1], EPOLLIN), 0);
    }

    CompletionPort port;
    TcpPair first;
    TcpPair second;
};

} // namespace

TEST(CompletionPort, IsOpenedOnce)
{
    CompletionPort port;
    ASSERT_EQ(port.open(), 0);
    const std::set<int> before = openDescriptors();
    EXPECT_EQ(port.open(), 0);
    EXPECT_EQ(openDescriptors(), before);
}

TEST(CompletionPort, ThreadsThatOpenItTogetherMakeOne)
{
    const std::size_t before = openDescriptors().size();
    CompletionPort port;
    std::atomic<int> failures{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 8; ++i)
        threads.emplace_back([&] { failures += port.open() == 0 ? 0 : 1; });
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(failures, 0);
    EXPECT_EQ(openDescriptors().size(), before + 2);
}

TEST(CompletionPort, GivesItsDescriptorsBack)
{
    const std::set<int> before = openDescriptors();
    {
        CompletionPort port;
        ASSERT_EQ(port.open(), 0);
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST(CompletionPort, OpenFailsWithoutDescriptorsAndMayBeTriedAgain)
{
    CompletionPort port;
    const std::set<int> before = openDescriptors();
    {
        const NoFurtherDescriptors none;
        EXPECT_EQ(port.open(), -1);
        EXPECT_EQ(errno, EMFILE);
    }
    EXPECT_EQ(openDescriptors(), before);
    EXPECT_EQ(port.open(), 0);
}

TEST(CompletionPort, OpenThatGetsOnlyOneDescriptorGivesItBack)
{
    CompletionPort port;
    const std::set<int> before = openDescriptors();
    {
        const SoftLimit one(RLIMIT_NOFILE, static_cast<rlim_t>(lowestFreeDescriptors(1).front()) + 1);
        EXPECT_EQ(port.open(), -1);
        EXPECT_EQ(errno, EMFILE);
    }
    EXPECT_EQ(openDescriptors(), before);
}

TEST(CompletionPort, EventsComeWithTheirSocketsKey)
{
    TwoConnections two;
    ASSERT_EQ(send(two.second.client.number(), "x", 1, 0), 1);
    EXPECT_EQ(two.port.next(), &keys[1]);
    ASSERT_EQ(send(two.first.client.number(), "x", 1, 0), 1);
    EXPECT_EQ(two.port.next(), &keys[0]);
}

TEST(CompletionPort, ASocketIsSilentUntilItIsArmedAgain)
{
    TwoConnections two;
    ASSERT_EQ(send(two.first.client.number(), "x", 1, 0), 1);
    EXPECT_EQ(two.port.next(), &keys[0]);

    // More data and even a reset of the first socket are not reported: the second one's event comes first.
    ASSERT_EQ(send(two.first.client.number(), "y", 1, 0), 1);
    resetConnection(two.first.client);
    ASSERT_EQ(send(two.second.client.number(), "x", 1, 0), 1);
    EXPECT_EQ(two.port.next(), &keys[1]);

    ASSERT_EQ(two.port.arm(two.first.server.number(), &keys[0], EPOLLIN), 0);
    EXPECT_EQ(two.port.next(), &keys[0]);
}

TEST(CompletionPort, RefusesWhatCannotBeWaitedFor)
{
    CompletionPort port;
    ASSERT_EQ(port.open(), 0);
    const Base::Descriptor file(open("/proc/self/exe", O_RDONLY | O_CLOEXEC));
    EXPECT_EQ(port.associate(file.number(), &keys[0], EPOLLIN), -1);
    EXPECT_EQ(errno, EPERM);
    TcpPair stranger;
    EXPECT_EQ(port.arm(stranger.server.number(), &keys[0], EPOLLIN), -1);
    EXPECT_EQ(errno, ENOENT);
}

TEST(CompletionPort, IsAttendedWhileAnotherThreadWaits)
{
    CompletionPort port;
    ASSERT_EQ(port.open(), 0);
    EXPECT_FALSE(port.isAttended());
    for (int round = 0; round < 2; ++round) {
        auto waiting = inBackground([&] {
            void* const key = port.next();
            EXPECT_FALSE(port.isAttended()); // who asks does not count
            return key;
        });
        EXPECT_TRUE(waitUntil([&] { return port.isAttended(); }));
        TcpPair pair;
        ASSERT_EQ(port.associate(pair.server.number(), &keys[0], EPOLLOUT), 0);
        EXPECT_EQ(waiting.get(), &keys[0]);
        EXPECT_FALSE(port.isAttended());
    }
}

TEST(CompletionPort, OfThreadsThatLeaveItOnlyWhileItIsAttendedOneStays)
{
    constexpr int Threads = 4;
    CompletionPort port;
    ASSERT_EQ(port.open(), 0);
    std::atomic<int> away{0};
    std::atomic<int> most{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < Threads; ++i) {
        threads.emplace_back([&] {
            while (port.next() != nullptr) {
                if (!port.isAttended())
                    continue;
                const int here = ++away;
                int seen = most;
                while (seen < here && !most.compare_exchange_weak(seen, here)) {
                }
                std::this_thread::yield();
                --away;
            }
        });
    }
    TcpPair pair;
    for (int i = 0; i < 20000; ++i) {
        ASSERT_EQ(i == 0 ? port.associate(pair.server.number(), &keys[0], EPOLLOUT)
                         : port.arm(pair.server.number(), &keys[0], EPOLLOUT),
                  0);
    }
    port.stop();
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_LT(most, Threads);
}

TEST(CompletionPort, StopEndsEveryWait)
{
    CompletionPort port;
    ASSERT_EQ(port.open(), 0);
    std::vector<std::future<void*>> waits;
    for (int i = 0; i < 4; ++i)
        waits.push_back(inBackground([&] { return port.next(); }));
    port.stop();
    for (std::future<void*>& wait : waits)
        EXPECT_EQ(wait.get(), nullptr);
    EXPECT_EQ(port.next(), nullptr); // later waits return at once
}

TEST(CompletionPort, StopBeforeOpenDoesNothing)
{
    CompletionPort port;
    port.stop();
    ASSERT_EQ(port.open(), 0);
    TcpPair pair;
    ASSERT_EQ(port.associate(pair.server.number(), &keys[0], EPOLLOUT), 0);
    EXPECT_EQ(port.next(), &keys[0]);
}

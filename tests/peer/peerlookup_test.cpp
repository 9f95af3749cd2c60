#include "peer/peerlookup.h"

#include "peerpair.h"
#include "support/otheruser.h"
#include "support/waituntil.h"

#include <fcntl.h>
#include <linux/tcp.h>

#include <cerrno>
#include <optional>
#include <thread>
#include <vector>

namespace {

/** An open lookup, and a listener for the connections that it is asked about. */
class PeerLookupTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(lookup_.open(), 0); }

    /** The user of an accepted connection's peer; nothing, with the reason in error_, when the lookup fails. */
    std::optional<uid_t> find(int socket)
    {
        uid_t user = 12345;
        error_ = lookup_.find(socket, &user);
        if (error_ == 0)
            return user;
        EXPECT_EQ(user, 12345U) << "a failure leaves it alone";
        return std::nullopt;
    }

    /** A connection from a port outside the range that the system chooses from, so no other program gets it later. */
    int connectFromAPortOfOurs() const
    {
        const int client = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in address = listener_.address();
        int port = FirstPort + getpid() % Ports;
        do {
            address.sin_port = htons(static_cast<in_port_t>(port++));
        } while (bind(client, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 &&
                 port < FirstPort + 2 * Ports);
        EXPECT_EQ(connect(client, reinterpret_cast<const sockaddr*>(&listener_.address()), sizeof(sockaddr_in)), 0);
        return client;
    }

    static int stateOf(int socket)
    {
        tcp_info info{};
        socklen_t size = sizeof info;
        return getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &size) == 0 ? info.tcpi_state : -1;
    }

    /** Resets a connection and closes this end of it; returns the address of this end. */
    static sockaddr_in reset(int socket)
    {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        EXPECT_EQ(getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size), 0);
        const linger now{1, 0};
        setsockopt(socket, SOL_SOCKET, SO_LINGER, &now, sizeof now);
        close(socket);
        return address;
    }

    enum { FirstPort = 10'000, Ports = 10'000 }; // below those that the system chooses from

    Listener listener_;
    PeerLookup lookup_;
    int error_ = 0;
};

constexpr int CloseWait = 8; // TCP_CLOSE_WAIT, whose header clashes with that of tcp_info
constexpr int Closed = 7;
constexpr int FinWait2 = 5;

} // namespace

TEST_F(PeerLookupTest, FindsTheUserOfOurOwnProcess)
{
    const int client = listener_.connect();
    const int server = listener_.accept();
    EXPECT_EQ(find(server), geteuid());
    EXPECT_EQ(find(client), geteuid()) << "from the other end";
    close(client);
    close(server);
}

TEST_F(PeerLookupTest, FindsAnotherUserAndNotOurOwnEnd)
{
    SKIP_UNLESS_ROOT();
    for (const int family : {AF_INET, AF_INET6}) {
        const UserConnection other(OtherUser, listener_.port(), family);
        const int server = listener_.accept();
        EXPECT_EQ(find(server), OtherUser) << family;
        close(server);
    }
}

TEST_F(PeerLookupTest, UserIsTheOneWhoMadeTheSocketAlsoWhenTheProcessBecomesAnother)
{
    SKIP_UNLESS_ROOT();
    const int client = listener_.connect(); // of root
    const pid_t child = fork();
    if (child == 0) {
        if (setresuid(OtherUser, OtherUser, OtherUser) == 0)
            pause();
        _exit(1);
    }
    const int server = listener_.accept();
    close(client); // only the child's copy is left
    EXPECT_EQ(find(server), 0U);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    close(server);
}

TEST_F(PeerLookupTest, PeerThatOnlyEndedItsSendingIsFound)
{
    const int client = listener_.connect();
    const int server = listener_.accept();
    ASSERT_EQ(shutdown(client, SHUT_WR), 0);
    ASSERT_TRUE(waitUntil([&] { return stateOf(server) == CloseWait; }));
    EXPECT_EQ(find(server), geteuid());
    ASSERT_TRUE(waitUntil([&] { return stateOf(client) == FinWait2; })) << "our end confirms it a little later";
    EXPECT_EQ(find(server), geteuid());
    close(client);
    close(server);
}

TEST_F(PeerLookupTest, PeerThatHasClosedIsNobodyAndNotRoot)
{
    const int client = listener_.connect();
    const int server = listener_.accept();
    close(client);
    ASSERT_TRUE(waitUntil([&] { return stateOf(server) == CloseWait; }));
    EXPECT_EQ(find(server), std::nullopt) << "the kernel shows it without a process, as root's";
    EXPECT_EQ(error_, ENOTCONN);
    close(server);
}

TEST_F(PeerLookupTest, PeerThatResetIsNotMistakenForAListenerOnItsAddress)
{
    const int client = connectFromAPortOfOurs();
    const int server = listener_.accept();
    const sockaddr_in address = reset(client);
    ASSERT_TRUE(waitUntil([&] { return stateOf(server) == Closed; }));
    EXPECT_EQ(find(server), std::nullopt);
    EXPECT_NE(error_, 0);

    const int successor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = 1;
    setsockopt(successor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    ASSERT_EQ(bind(successor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(listen(successor, 1), 0);
    EXPECT_EQ(find(server), std::nullopt) << "what listens there is another socket";
    EXPECT_NE(error_, 0);
    close(successor);
    close(server);
}

TEST_F(PeerLookupTest, ConnectionThatWasResetIsNotMistakenForTheNextOneOfItsPorts)
{
    const int client = connectFromAPortOfOurs();
    const int server = listener_.accept();
    const sockaddr_in address = reset(client);
    ASSERT_TRUE(waitUntil([&] { return stateOf(server) == Closed; }));

    // Its peer's address is no longer available, or belongs to the next connection.
    const int successor = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    ASSERT_EQ(bind(successor, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(connect(successor, reinterpret_cast<const sockaddr*>(&listener_.address()), sizeof(sockaddr_in)), 0);
    EXPECT_EQ(find(server), std::nullopt);
    EXPECT_EQ(error_, ENOTCONN);
    close(successor);
    close(server);
}

TEST_F(PeerLookupTest, WhatIsNoConnectionOverIpIsRefused)
{
    int ends[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    EXPECT_EQ(find(ends[0]), std::nullopt);
    EXPECT_EQ(error_, EAFNOSUPPORT);
    close(ends[0]);
    close(ends[1]);
    EXPECT_EQ(find(-1), std::nullopt);
    EXPECT_EQ(error_, EBADF);
}

TEST_F(PeerLookupTest, ManyThreadsGetTheAnswersToTheirOwnQuestions)
{
    SKIP_UNLESS_ROOT();
    const UserConnection other(OtherUser, listener_.port());
    const int others = listener_.accept();
    const int client = listener_.connect();
    const int ours = listener_.accept();
    std::vector<std::thread> threads;
    for (const auto& [socket, user] : {std::pair{others, OtherUser}, std::pair{ours, uid_t{0}}}) {
        for (int copy = 0; copy < 2; ++copy) {
            threads.emplace_back([this, socket = socket, user = user] {
                for (int round = 0; round < 500; ++round) {
                    uid_t found = 12345;
                    EXPECT_EQ(lookup_.find(socket, &found), 0);
                    EXPECT_EQ(found, user);
                }
            });
        }
    }
    for (std::thread& thread : threads)
        thread.join();
    close(client);
    close(ours);
    close(others);
}

TEST(PeerLookupOpen, TakesOneDescriptorThatIsClosedOnExec)
{
    const int next = dup(STDIN_FILENO);
    close(next);
    PeerLookup lookup;
    ASSERT_EQ(lookup.open(), 0);
    EXPECT_EQ(fcntl(next, F_GETFD), FD_CLOEXEC);
}

#ifndef QUORVA_TESTS_SUPPORT_OTHERUSER_H
#define QUORVA_TESTS_SUPPORT_OTHERUSER_H

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <grp.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

/** Users that need not exist on the machine. */
inline constexpr uid_t OtherUser = 40001;
inline constexpr uid_t ThirdUser = 40002;

/** Skips a test that creates sockets as other users, which only root can do. */
#define SKIP_UNLESS_ROOT()                                                                                             \
    do {                                                                                                               \
        if (geteuid() != 0)                                                                                            \
            GTEST_SKIP() << "only root can connect as another user";                                                   \
    } while (false)

/**
 * A process of another user with one connection to a port of 127.0.0.1. It is forked from the test and makes only
 * system calls, as the test may have threads. The destructor kills and reaps it.
 */
class UserConnection {
public:
    /** With `family` AF_INET6, connects an IPv6 socket to ::ffff:127.0.0.1. */
    UserConnection(uid_t user, int port, int family = AF_INET)
    {
        int ends[2] = {-1, -1};
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
            std::abort();
        pid_ = fork();
        if (pid_ == 0) {
            (void)prctl(PR_SET_PDEATHSIG, SIGKILL); // no process is left behind when the test is killed
            run(ends[1], user, port, family);
            _exit(0);
        }
        close(ends[1]);
        channel_ = ends[0];
        char connected = 'n';
        EXPECT_TRUE(read(channel_, &connected, 1) == 1 && connected == 'y') << "no connection as user " << user;
    }
    ~UserConnection()
    {
        ::kill(pid_, SIGKILL);
        (void)waitpid(pid_, nullptr, 0);
        close(channel_);
    }
    UserConnection(const UserConnection&) = delete;
    UserConnection& operator=(const UserConnection&) = delete;

    /** Sends bytes over the connection and returns the first bytes received; none when it is closed. */
    std::string exchange(const std::string& bytes)
    {
        const auto size = static_cast<std::uint32_t>(bytes.size());
        EXPECT_EQ(write(channel_, &size, sizeof size), static_cast<ssize_t>(sizeof size));
        EXPECT_EQ(write(channel_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
        pollfd waiting{channel_, POLLIN, 0};
        EXPECT_EQ(poll(&waiting, 1, 60000), 1);
        char buffer[MostBytes];
        const ssize_t got = read(channel_, buffer, sizeof buffer);
        return got > 1 ? std::string(buffer + 1, static_cast<std::size_t>(got - 1)) : std::string();
    }

private:
    static constexpr std::size_t MostBytes = 4096;

    static void run(int channel, uid_t user, int port, int family)
    {
        if (user != geteuid() && (setgroups(0, nullptr) != 0 || setresuid(user, user, user) != 0))
            return;
        const int socket = connected(port, family);
        const char answer = socket >= 0 ? 'y' : 'n';
        (void)!write(channel, &answer, 1);
        char buffer[MostBytes];
        for (std::uint32_t size = 0; read(channel, &size, sizeof size) == sizeof size;) {
            if (read(channel, buffer, size) != static_cast<ssize_t>(size))
                return;
            (void)send(socket, buffer, size, MSG_NOSIGNAL);
            buffer[0] = '.';
            const ssize_t got = recv(socket, buffer + 1, sizeof buffer - 1, 0);
            (void)!write(channel, buffer, static_cast<std::size_t>(got > 0 ? got + 1 : 1));
        }
    }

    static int connected(int port, int family)
    {
        const int socket = ::socket(family, SOCK_STREAM | SOCK_CLOEXEC, 0);
        sockaddr_in target{};
        target.sin_family = AF_INET;
        target.sin_port = htons(static_cast<std::uint16_t>(port));
        target.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        sockaddr_in6 mapped{};
        mapped.sin6_family = AF_INET6;
        mapped.sin6_port = target.sin_port;
        mapped.sin6_addr.s6_addr[10] = 0xff;
        mapped.sin6_addr.s6_addr[11] = 0xff;
        std::memcpy(&mapped.sin6_addr.s6_addr[12], &target.sin_addr, sizeof target.sin_addr);
        const bool good = family == AF_INET
                              ? connect(socket, reinterpret_cast<const sockaddr*>(&target), sizeof target) == 0
                              : connect(socket, reinterpret_cast<const sockaddr*>(&mapped), sizeof mapped) == 0;
        return good ? socket : -1;
    }

    pid_t pid_ = -1;
    int channel_ = -1;
};

#endif

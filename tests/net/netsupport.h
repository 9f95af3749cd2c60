#ifndef QUORVA_TESTS_NET_NETSUPPORT_H
#define QUORVA_TESTS_NET_NETSUPPORT_H

/* Descriptors and sockets of the test process. */

#include "base/descriptor.h"

#include <QByteArray>

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <set>
#include <utility>
#include <vector>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool MemoryIsSanitized = true;
#else
inline constexpr bool MemoryIsSanitized = false;
#endif

inline constexpr int PatienceMs = 60000; // only a test that fails waits that long

/** Lowers a soft limit of the process while this lives. */
class SoftLimit {
public:
    SoftLimit(__rlimit_resource_t resource, rlim_t value) : resource_(resource)
    {
        getrlimit(resource_, &before_);
        rlimit limit = before_;
        limit.rlim_cur = value;
        setrlimit(resource_, &limit);
    }
    ~SoftLimit() { setrlimit(resource_, &before_); }
    SoftLimit(const SoftLimit&) = delete;
    SoftLimit& operator=(const SoftLimit&) = delete;

private:
    __rlimit_resource_t resource_;
    rlimit before_{};
};

inline int portOf(int socket)
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    return getsockname(socket, reinterpret_cast<sockaddr*>(&address), &size) == 0 ? ntohs(address.sin_port) : -1;
}

inline bool isOpen(int descriptor)
{
    return fcntl(descriptor, F_GETFD) != -1;
}

/** The lowest unused descriptor numbers, in order: the next descriptors of this process get them. */
inline std::vector<int> lowestFreeDescriptors(std::size_t count)
{
    std::vector<int> numbers;
    for (int number = 0; numbers.size() < count; ++number) {
        if (!isOpen(number))
            numbers.push_back(number);
    }
    return numbers;
}

/** The numbers of this process's open descriptors. */
inline std::set<int> openDescriptors()
{
    std::set<int> numbers;
    for (int number = 0; number < 4096; ++number) {
        if (isOpen(number))
            numbers.insert(number);
    }
    return numbers;
}

/** While this lives, the process can open no further descriptor; those that are open stay open. */
class NoFurtherDescriptors : public SoftLimit {
public:
    NoFurtherDescriptors() : SoftLimit(RLIMIT_NOFILE, static_cast<rlim_t>(lowestFreeDescriptors(1).front())) {}
};

/** A listening socket on 127.0.0.1, on a port that the system chooses; the caller closes it. -1 on failure. */
inline int listenOnLoopback(bool reuseAddress = true)
{
    const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int on = reuseAddress ? 1 : 0;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 || listen(listener, 16) != 0)
        return -1;
    return listener;
}

/** Reads `size` bytes; fewer when the stream ends or nothing arrives in time. */
inline QByteArray readBytes(int socket, qsizetype size)
{
    QByteArray bytes;
    char buffer[65536];
    while (bytes.size() < size) {
        pollfd waiting{socket, POLLIN, 0};
        if (poll(&waiting, 1, PatienceMs) != 1)
            break;
        const ssize_t n =
            recv(socket, buffer, std::min<std::size_t>(sizeof buffer, std::size_t(size - bytes.size())), 0);
        if (n <= 0)
            break;
        bytes.append(buffer, n);
    }
    return bytes;
}

/** True when the peer closes or resets the stream without sending anything first. */
inline bool endsWithoutData(int socket)
{
    pollfd waiting{socket, POLLIN, 0};
    char byte = 0;
    if (poll(&waiting, 1, PatienceMs) != 1)
        return false;
    const ssize_t n = recv(socket, &byte, 1, 0);
    return n == 0 || (n < 0 && errno == ECONNRESET);
}

/** Closes a socket so that the peer gets a reset instead of an end of stream. */
inline void resetConnection(Base::Descriptor& socket)
{
    const linger now{1, 0};
    setsockopt(socket.number(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
    socket = Base::Descriptor();
}

/**
 * The two ends of a TCP connection over loopback; `server` is non-blocking, as the handlers need it. The buffers in
 * between are small, whatever the system's settings.
 */
struct TcpPair {
    TcpPair()
    {
        const Base::Descriptor listener(listenOnLoopback());
        sockaddr_in address{};
        socklen_t size = sizeof address;
        getsockname(listener.number(), reinterpret_cast<sockaddr*>(&address), &size);
        client = Base::Descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const int small = 128 * 1024;
        setsockopt(client.number(), SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
        if (connect(client.number(), reinterpret_cast<const sockaddr*>(&address), size) == 0)
            server = Base::Descriptor(accept4(listener.number(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        setsockopt(server.number(), SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
    }

    Base::Descriptor server;
    Base::Descriptor client;
};

/**
 * The same without a network in between: what one end has sent is immediately in the other end's buffer, and stays
 * there until it is read.
 */
struct UnixPair {
    UnixPair()
    {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0) {
            server = Base::Descriptor(ends[0]);
            client = Base::Descriptor(ends[1]);
            fcntl(server.number(), F_SETFL, O_NONBLOCK);
        }
    }

    Base::Descriptor server;
    Base::Descriptor client;
};

#endif

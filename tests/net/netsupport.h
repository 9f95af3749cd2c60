#ifndef QUORVA_TESTS_NET_NETSUPPORT_H
#define QUORVA_TESTS_NET_NETSUPPORT_H

#include "client/wireconnection.h"
#include "net/bdbiomaster.h"
#include "net/bdbioworker_linux.h"
#include "net/bdbreqhandler_linux.h"
#include "net/bdbserver.h"
#include "protocol/endpoint.h"
#include "protocol/framing.h"
#include "support/expectedreplies.h"
#include "support/waituntil.h"
#include "json/jsonreader.h"

#include <QByteArray>
#include <QVariantMap>

#include <gtest/gtest.h>

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
#include <filesystem>
#include <set>
#include <thread>
#include <utility>
#include <vector>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool MemoryIsSanitized = true;
#else
inline constexpr bool MemoryIsSanitized = false;
#endif

inline constexpr int PatienceMs = 60000; // no verdict depends on it, save for "it never came"

/** Lowers a soft limit of the process for as long as it lives. */
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

/** A descriptor that is closed in the end. */
class Descriptor {
public:
    explicit Descriptor(int number = -1) : number_(number) {}
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    int get() const { return number_; }
    int release() { return std::exchange(number_, -1); }
    void close()
    {
        if (number_ >= 0)
            ::close(number_);
        number_ = -1;
    }
    void reset(int number)
    {
        close();
        number_ = number;
    }

private:
    int number_;
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

/** The lowest numbers that no descriptor has, so the next ones of this process are among them or above. */
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

/** No further descriptor can be had while this lives; those that are open stay. */
class NoFurtherDescriptors : public SoftLimit {
public:
    NoFurtherDescriptors() : SoftLimit(RLIMIT_NOFILE, static_cast<rlim_t>(lowestFreeDescriptors(1).front())) {}
};

inline std::size_t threadCount()
{
    std::size_t count = 0;
    for ([[maybe_unused]] const auto& task : std::filesystem::directory_iterator("/proc/self/task"))
        ++count;
    return count;
}

/** How many threads there are when a test has started none. ThreadSanitizer has one of its own, from the first on. */
inline std::size_t initialThreadCount()
{
    static const std::size_t count = [] {
        std::thread([] {}).join();
#if defined(__SANITIZE_THREAD__)
        return 2;
#else
        return 1;
#endif
    }();
    return count;
}

/** Waits until only those are left: a thread is still there for a moment after it was waited for. */
[[nodiscard]] inline bool onlyThisThreadIsLeft()
{
    return waitUntil([] { return threadCount() == initialThreadCount(); });
}

/** A listener of its own on 127.0.0.1, on a port that the system chooses. */
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

/** Reads `size` bytes; fewer when the stream ends or nothing comes for long. */
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

/** True when the other side closes or resets the stream, and sends nothing before. */
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
inline void resetConnection(Descriptor& socket)
{
    const linger now{1, 0};
    setsockopt(socket.get(), SOL_SOCKET, SO_LINGER, &now, sizeof now);
    socket.close();
}

/**
 * Two ends of one TCP connection over loopback; `server` does not block, as the handlers want it. The buffers between
 * them are small, whatever the system's settings.
 */
struct TcpPair {
    TcpPair()
    {
        const Descriptor listener(listenOnLoopback());
        sockaddr_in address{};
        socklen_t size = sizeof address;
        getsockname(listener.get(), reinterpret_cast<sockaddr*>(&address), &size);
        client.reset(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const int small = 128 * 1024;
        setsockopt(client.get(), SOL_SOCKET, SO_RCVBUF, &small, sizeof small);
        if (connect(client.get(), reinterpret_cast<const sockaddr*>(&address), size) == 0)
            server.reset(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
        setsockopt(server.get(), SOL_SOCKET, SO_SNDBUF, &small, sizeof small);
    }

    Descriptor server;
    Descriptor client;
};

/**
 * The same without a network in between: what one end has sent is at the other end, so the buffers hold as much as they
 * take and nothing moves on its own.
 */
struct UnixPair {
    UnixPair()
    {
        int ends[2];
        if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) == 0) {
            server.reset(ends[0]);
            client.reset(ends[1]);
            fcntl(server.get(), F_SETFL, O_NONBLOCK);
        }
    }

    Descriptor server;
    Descriptor client;
};

inline QVariantMap parseReply(const QByteArray& text)
{
    QVariant value;
    EXPECT_TRUE(Json::parse(text, &value)) << text.toStdString();
    return value.toMap();
}

/** The beginning of a request, up to where its body begins. */
inline QByteArray headerFor(const QByteArray& operation, quint32 bodyLength)
{
    QByteArray bytes = Framing::frameRequest(operation, {});
    Framing::writeLength(bodyLength, bytes.data() + bytes.size() - 4);
    return bytes;
}

/** A JSON object whose text is `size` bytes long; at least 7. */
inline QByteArray bodyOfSize(qsizetype size)
{
    return "{\"a\":\"" + QByteArray(size - 8, 'x') + "\"}";
}

/** A server on a port of its own. */
class TestServer : public BDBServer {
public:
    explicit TestServer(int workers = 2, int poolMax = 4) : BDBServer(1024, 256, 12341234, 0x100000, workers, poolMax)
    {}

    ~TestServer() override { stop(); }

    [[nodiscard]] int listenAnywhere() { return listen("127.0.0.1", 0); }
    int realPort() const { return portOf(listeningSocket()); }
    using TcpServer::listeningSocket;

    /** Opens `connection` to this server; its receives give up some day. */
    [[nodiscard]] bool connectTo(Client::WireConnection* connection) const
    {
        connection->setReceiveTimeout(PatienceMs);
        return connection->open(Endpoint::Host, realPort());
    }
};

/** True when a request on `connection` is answered as it should be. */
inline bool exchangeWorks(Client::WireConnection& connection, const QByteArray& body = "{}")
{
    QByteArray reply;
    return connection.exchange("DynamoDB_20111205.Nothing", body, &reply) && parseReply(reply) == internalErrorReply();
}

/**
 * The I/O layer without a listening socket, for sockets that a test makes. `worker` never runs, unless a test starts
 * it; init() of the master starts others, which serve what it sets up.
 */
struct IoBench {
    ~IoBench()
    {
        master.port().stop();
        worker.waitStopped();
        master.pool().waitForDone(); // requests may answer through `worker`
    }

    BDBReqHandler_linux* createHandler(int socket)
    {
        return static_cast<BDBReqHandler_linux*>(worker.createHandler(socket));
    }

    BDBObjTable environments{8192};
    BDBIOMaster master{1024, 256, &environments};
    BDBIOWorker_linux worker{1024, 256, &environments, &master};
};

#endif

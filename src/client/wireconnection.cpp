#include "client/wireconnection.h"

#include "protocol/framing.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace Client {

namespace {

constexpr qsizetype LengthSize = Framing::LengthSize;
constexpr qsizetype FrontBytes = 4096;         // of a reply to receive with its length
constexpr qsizetype LargestStep = 1024 * 1024; // bytes of a reply to allocate before they arrive

constexpr const char* NoBytes = "no bytes"; // received

} // namespace

bool WireConnection::open(const QString& host, int port)
{
    close();
    sockaddr_in address{};
    address.sin_family = AF_INET;
    if (inet_pton(AF_INET, host.toLatin1().constData(), &address.sin_addr) != 1)
        return fail(QStringLiteral("\"%1\" is not a dotted IPv4 address").arg(host));
    if (port < 1 || port > 65535)
        return fail(QStringLiteral("%1 is not a port number").arg(port));
    address.sin_port = htons(static_cast<quint16>(port));

    socket_ = Base::Descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (!isOpen())
        return fail("socket");
    const bool isLimited = receiveTimeout_ == 0 || limitReceives();
    if (!isLimited || !connectTo(address)) {
        close();
        return false;
    }
    // A request is sent in one piece before waiting for its reply, so delaying segments gains nothing.
    const int on = 1;
    (void)setsockopt(socketDescriptor(), IPPROTO_TCP, TCP_NODELAY, &on,
                     sizeof on); // ignored: it is only slower without
    return true;
}

bool WireConnection::connectTo(const sockaddr_in& address)
{
    const auto* name = reinterpret_cast<const sockaddr*>(&address);
    if (connectTimeout_ <= 0)
        return connect(socketDescriptor(), name, sizeof address) == 0 || fail("connect");

    const int flags = fcntl(socketDescriptor(), F_GETFL);
    if (flags < 0 || fcntl(socketDescriptor(), F_SETFL, flags | O_NONBLOCK) != 0)
        return fail("fcntl");
    if (connect(socketDescriptor(), name, sizeof address) != 0) {
        if (errno != EINPROGRESS)
            return fail("connect");
        if (!waitFor(POLLOUT, connectTimeout_, "no connection"))
            return false;
        int failure = 0;
        socklen_t size = sizeof failure;
        if (getsockopt(socketDescriptor(), SOL_SOCKET, SO_ERROR, &failure, &size) != 0)
            return fail("getsockopt");
        if (failure != 0) {
            errno = failure;
            return fail("connect");
        }
    }
    return fcntl(socketDescriptor(), F_SETFL, flags) == 0 || fail("fcntl");
}

bool WireConnection::exchange(const QByteArray& operation, const QByteArray& body, QByteArray* reply)
{
    if (send(Framing::frameRequest(operation, body)) && receiveReply(reply))
        return true;
    close();
    return false;
}

bool WireConnection::send(const QByteArray& bytes)
{
    const int flags = MSG_NOSIGNAL | (receiveTimeout_ > 0 ? MSG_DONTWAIT : 0);
    for (qsizetype sent = 0; sent < bytes.size();) {
        const ssize_t n =
            ::send(socketDescriptor(), bytes.constData() + sent, static_cast<size_t>(bytes.size() - sent), flags);
        if (n >= 0) {
            sent += n;
        } else if (errno == EAGAIN) {
            if (!waitFor(POLLOUT, receiveTimeout_, "no bytes taken"))
                return false;
        } else if (errno != EINTR) {
            return fail("send");
        }
    }
    return true;
}

bool WireConnection::receiveReply(QByteArray* reply)
{
    // Most replies are short and arrive as a whole, so that one call receives both the length and the text.
    char front[FrontBytes];
    qsizetype inFront = surplus_.size();
    std::copy(surplus_.cbegin(), surplus_.cend(), front);
    surplus_.clear();
    while (inFront < LengthSize) {
        const qsizetype n = receiveSome(front + inFront, FrontBytes - inFront);
        if (n < 0) {
            surplus_ = QByteArray(front, inFront);
            return false;
        }
        inFront += n;
    }
    const qsizetype length = Framing::readLength(front);
    const qsizetype end = std::min(inFront, LengthSize + length);
    if (end < inFront)
        surplus_ = QByteArray(front + end, inFront - end);
    QByteArray text(front + LengthSize, end - LengthSize);
    // Memory is allocated as the bytes arrive: a bogus length must not make us allocate four gigabytes.
    while (text.size() < length) {
        const qsizetype have = text.size();
        const qsizetype step = std::min(length - have, std::max(have, LargestStep));
        text.resize(have + step);
        if (!receiveExactly(text.data() + have, step))
            return false;
    }
    *reply = text;
    return true;
}

void WireConnection::setConnectTimeout(int milliseconds)
{
    connectTimeout_ = milliseconds;
}

void WireConnection::setReceiveTimeout(int milliseconds)
{
    receiveTimeout_ = std::max(milliseconds, 0);
    if (isOpen())
        (void)limitReceives(); // cannot fail on an open socket
}

/** Sets the system's receive timeout, which needs no extra call before each receive. */
bool WireConnection::limitReceives()
{
    const timeval limit{receiveTimeout_ / 1000, receiveTimeout_ % 1000 * 1000};
    return setsockopt(socketDescriptor(), SOL_SOCKET, SO_RCVTIMEO, &limit, sizeof limit) == 0 || fail("setsockopt");
}

bool WireConnection::receiveExactly(char* data, qsizetype size)
{
    for (qsizetype received = 0; received < size;) {
        const qsizetype n = receiveSome(data + received, size - received);
        if (n < 0)
            return false;
        received += n;
    }
    return true;
}

/** Waits for bytes, and takes those that have arrived. -1 if none do. */
qsizetype WireConnection::receiveSome(char* data, qsizetype most)
{
    for (;;) {
        const bool isLimitedFurther = !deadline_.isForever() && receiveTimeout_ > 0;
        if (isLimitedFurther && !waitFor(POLLIN, receiveTimeout_, NoBytes))
            return -1;
        const ssize_t n = recv(socketDescriptor(), data, static_cast<size_t>(most), 0);
        if (n > 0)
            return n;
        if (n == 0) {
            (void)fail(QStringLiteral("the server closed the connection"));
            return -1;
        }
        if (errno == EAGAIN) {
            (void)failLate(NoBytes, receiveTimeout_);
            return -1;
        }
        if (errno != EINTR) {
            (void)fail("receive");
            return -1;
        }
    }
}

bool WireConnection::waitFor(short events, int milliseconds, const char* missing)
{
    // An interrupted wait is resumed with the remaining time.
    const QDeadlineTimer deadline = std::min(QDeadlineTimer(milliseconds), deadline_);
    pollfd waiting{socketDescriptor(), events, 0};
    for (;;) {
        const int ready = poll(&waiting, 1, static_cast<int>(deadline.remainingTime()));
        const bool isOver = ready == 0 || deadline_.hasExpired();
        if (ready > 0 && !isOver)
            return true;
        if (ready < 0 && errno != EINTR)
            return fail("poll");
        if (isOver)
            return failLate(missing, milliseconds);
    }
}

bool WireConnection::failLate(const char* missing, int milliseconds)
{
    (void)fail(QStringLiteral("%1 within %2 ms").arg(QLatin1StringView(missing)).arg(milliseconds));
    hasTimedOut_ = true;
    return false;
}

bool WireConnection::fail(const char* step)
{
    return fail(QStringLiteral("%1: %2").arg(QString::fromLatin1(step), QString::fromLocal8Bit(std::strerror(errno))));
}

bool WireConnection::fail(const QString& error)
{
    error_ = error;
    hasTimedOut_ = false;
    return false;
}

} // namespace Client

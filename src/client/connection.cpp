#include "client/connection.h"

#include <QtEndian>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace Client {

namespace {

constexpr qsizetype LengthBytes = 4;           // every length on the wire
constexpr qsizetype LargestStep = 1024 * 1024; // bytes of a reply that are allocated before they arrived

void appendLength(QByteArray* out, qsizetype length)
{
    char bytes[LengthBytes];
    qToBigEndian(static_cast<quint32>(length), bytes);
    out->append(bytes, LengthBytes);
}

} // namespace

QByteArray fullOperationName(const QByteArray& name)
{
    return name.contains('.') ? name : "DynamoDB_20111205." + name;
}

QByteArray frameRequest(const QByteArray& operation, const QByteArray& body)
{
    QByteArray bytes;
    bytes.reserve(2 * LengthBytes + operation.size() + body.size());
    appendLength(&bytes, operation.size());
    bytes.append(operation);
    appendLength(&bytes, body.size());
    bytes.append(body);
    return bytes;
}

Connection::~Connection()
{
    close();
}

Connection::Connection(Connection&& other) noexcept
    : socket_(std::exchange(other.socket_, -1)), sendTimeout_(other.sendTimeout_),
      receiveTimeout_(other.receiveTimeout_), error_(std::move(other.error_))
{}

Connection& Connection::operator=(Connection&& other) noexcept
{
    std::swap(socket_, other.socket_);
    std::swap(sendTimeout_, other.sendTimeout_);
    std::swap(receiveTimeout_, other.receiveTimeout_);
    std::swap(error_, other.error_);
    return *this;
}

bool Connection::open(const QString& host, int port)
{
    close();
    sockaddr_in address{};
    address.sin_family = AF_INET;
    if (inet_pton(AF_INET, host.toLatin1().constData(), &address.sin_addr) != 1) {
        error_ = QStringLiteral("\"%1\" is not a dotted IPv4 address").arg(host);
        return false;
    }
    if (port < 1 || port > 65535) {
        error_ = QStringLiteral("%1 is not a port number").arg(port);
        return false;
    }
    address.sin_port = htons(static_cast<quint16>(port));

    socket_ = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (socket_ < 0)
        return fail("socket");
    // Holds for the connect as well; zero is no limit.
    const timeval limit{sendTimeout_ / 1000, (sendTimeout_ % 1000) * 1000};
    (void)setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &limit, sizeof limit); // ignored: such a limit is always valid
    if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
        fail("connect");
        close();
        return false;
    }
    // A request goes out in one piece and then waits for its reply; holding it back gains nothing.
    const int on = 1;
    (void)setsockopt(socket_, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on); // ignored: it is only slower without
    return true;
}

void Connection::close()
{
    if (socket_ >= 0)
        ::close(socket_);
    socket_ = -1;
}

bool Connection::exchange(const QByteArray& operation, const QByteArray& body, QByteArray* reply)
{
    if (send(frameRequest(operation, body)) && receiveReply(reply))
        return true;
    close();
    return false;
}

bool Connection::send(const QByteArray& bytes)
{
    for (qsizetype sent = 0; sent < bytes.size();) {
        const ssize_t n =
            ::send(socket_, bytes.constData() + sent, static_cast<size_t>(bytes.size() - sent), MSG_NOSIGNAL);
        if (n >= 0)
            sent += n;
        else if (errno != EINTR)
            return fail("send");
    }
    return true;
}

bool Connection::receiveReply(QByteArray* reply)
{
    char prefix[LengthBytes];
    if (!receiveExactly(prefix, LengthBytes))
        return false;
    const qsizetype length = qFromBigEndian<quint32>(prefix);
    // Room is made as the bytes come: four bytes of nonsense must not make us allocate four gigabytes.
    QByteArray text;
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

void Connection::setSendTimeout(int milliseconds)
{
    sendTimeout_ = milliseconds;
}

void Connection::setReceiveTimeout(int milliseconds)
{
    receiveTimeout_ = milliseconds;
}

bool Connection::receiveExactly(char* data, qsizetype size)
{
    for (qsizetype received = 0; received < size;) {
        if (receiveTimeout_ > 0) {
            pollfd readable{socket_, POLLIN, 0};
            const int ready = poll(&readable, 1, receiveTimeout_);
            if (ready == 0) {
                error_ = QStringLiteral("no bytes within %1 ms").arg(receiveTimeout_);
                return false;
            }
            if (ready < 0 && errno != EINTR)
                return fail("poll");
        }
        const ssize_t n = recv(socket_, data + received, static_cast<size_t>(size - received), 0);
        if (n == 0) {
            error_ = QStringLiteral("the server closed the connection");
            return false;
        }
        if (n > 0)
            received += n;
        else if (errno != EINTR)
            return fail("receive");
    }
    return true;
}

bool Connection::fail(const char* step)
{
    const bool tookTooLong = sendTimeout_ > 0 && (errno == EINPROGRESS || errno == EAGAIN);
    if (tookTooLong) {
        error_ = QStringLiteral("%1: not done within %2 ms").arg(QString::fromLatin1(step)).arg(sendTimeout_);
        return false;
    }
    error_ = QStringLiteral("%1: %2").arg(QString::fromLatin1(step), QString::fromLocal8Bit(std::strerror(errno)));
    return false;
}

} // namespace Client

#include "http/httpconnection.h"

#include <arpa/inet.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

namespace Http {

namespace {

/** For a request that is on its way in pieces when the program ends. */
constexpr std::chrono::milliseconds Grace{1000};
/** For a client to begin its next request before it counts as idle. */
constexpr std::chrono::milliseconds Patience{1000};
/** For a client to close, or to send more, after an answer that ends the connection. */
constexpr std::chrono::milliseconds Linger{5000};

void describe(int (*name)(int, sockaddr*, socklen_t*), int socket, std::string* ip, int* port)
{
    sockaddr_in address{};
    socklen_t size = sizeof address;
    if (name(socket, reinterpret_cast<sockaddr*>(&address), &size) != 0)
        return;
    char text[INET_ADDRSTRLEN] = "";
    *ip = inet_ntop(AF_INET, &address.sin_addr, text, sizeof text) == nullptr ? "" : text;
    *port = ntohs(address.sin_port);
}

int pollAll(pollfd* events, nfds_t count, std::chrono::milliseconds limit)
{
    int ready = 0;
    do
        ready = poll(events, count, static_cast<int>(limit.count()));
    while (ready < 0 && errno == EINTR); // no signal is handled on these threads; the limit begins anew
    return ready;
}

} // namespace

HttpConnection::HttpConnection(int socket, const ConnectionLimits& limits) : socket_(socket), limits_(limits) {}

HttpConnection::~HttpConnection()
{
    close(socket_);
}

bool HttpConnection::waitForRequest()
{
    if (begin_ != end_)
        return true;
    // A client that is about to send is not to find a closed connection, however many others wait.
    std::array<pollfd, 3> events{
        {{socket_, POLLIN, 0}, {limits_.stopping, POLLIN, 0}, {limits_.crowd->descriptor(), POLLIN, 0}}};
    const int ready = pollAll(events.data(), 2, std::min(limits_.keepAlive, Patience));
    while (ready == 0) {
        if (pollAll(events.data(), events.size(), limits_.keepAlive) <= 0)
            return false;
        if (events[0].revents != 0 || events[1].revents != 0)
            break;
        if (limits_.crowd->makeRoom()) // else another connection was quicker
            return false;
    }
    return events[0].revents != 0;
}

void HttpConnection::finish()
{
    (void)shutdown(socket_, SHUT_WR); // ignored: the client may be gone
    const auto end = std::chrono::steady_clock::now() + limits_.transfer;
    for (;;) {
        std::array<pollfd, 2> events{{{socket_, POLLIN, 0}, {limits_.stopping, POLLIN, 0}}};
        if (pollAll(events.data(), events.size(), Linger) <= 0 || events[1].revents != 0 || fill() <= 0 ||
            std::chrono::steady_clock::now() >= end)
            return;
    }
}

bool HttpConnection::is_readable() const
{
    return begin_ != end_ || waitFor(POLLIN, limits_.transfer);
}

bool HttpConnection::is_writable() const
{
    return waitFor(POLLOUT, limits_.transfer);
}

ssize_t HttpConnection::read(char* data, size_t size)
{
    if (headLeft_ == 0)
        return -1;
    if (begin_ == end_) {
        if (!waitForBytes())
            return -1;
        if (const ssize_t received = fill(); received <= 0)
            return received;
    }
    const std::size_t taken = std::min({size, end_ - begin_, headLeft_});
    std::memcpy(data, buffer_.data() + begin_, taken);
    begin_ += taken;
    if (headLeft_ != Unlimited)
        headLeft_ -= taken;
    return static_cast<ssize_t>(taken);
}

void HttpConnection::setReason(const std::string& reason)
{
    const bool isText = std::all_of(reason.begin(), reason.end(), [](char c) { return c >= ' ' && c <= '~'; });
    reason_ = isText ? reason : std::string();
}

ssize_t HttpConnection::write(const char* data, size_t size)
{
    // The library writes the head of an answer in one piece: "HTTP/1.1 400 Bad Request" and so on.
    constexpr std::string_view Version = "HTTP/1.1 ";
    constexpr std::size_t BeforeReason = Version.size() + 4;
    const std::string_view bytes(data, size);
    if (const std::string reason = std::exchange(reason_, {}); !reason.empty() && bytes.starts_with(Version)) {
        const std::size_t lineEnd = std::min(bytes.find("\r\n"), bytes.size());
        std::string head(bytes.substr(0, std::min(BeforeReason, lineEnd)));
        head.append(reason).append(bytes.substr(lineEnd));
        return sendAll(head) ? static_cast<ssize_t>(size) : -1;
    }
    return sendSome(data, size);
}

bool HttpConnection::sendAll(const std::string& bytes)
{
    for (std::size_t sent = 0; sent < bytes.size();) {
        const ssize_t n = sendSome(bytes.data() + sent, bytes.size() - sent);
        if (n <= 0)
            return false;
        sent += static_cast<std::size_t>(n);
    }
    return true;
}

ssize_t HttpConnection::sendSome(const char* data, size_t size)
{
    for (;;) {
        const ssize_t sent = send(socket_, data, size, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent >= 0 || (errno != EAGAIN && errno != EINTR))
            return sent;
        if (errno == EAGAIN && !waitFor(POLLOUT, limits_.transfer))
            return -1;
    }
}

void HttpConnection::get_remote_ip_and_port(std::string& ip, int& port) const
{
    describe(getpeername, socket_, &ip, &port);
}

void HttpConnection::get_local_ip_and_port(std::string& ip, int& port) const
{
    describe(getsockname, socket_, &ip, &port);
}

/** False when the limit is over. Errors of the socket count as events: the next call on it tells. */
bool HttpConnection::waitFor(short events, std::chrono::milliseconds limit) const
{
    pollfd event{socket_, events, 0};
    return pollAll(&event, 1, limit) > 0;
}

/** The same for the next bytes of a request, which has little time left once the program ends. */
bool HttpConnection::waitForBytes()
{
    using std::chrono::steady_clock;
    if (!lastMoment_) {
        std::array<pollfd, 2> events{{{socket_, POLLIN, 0}, {limits_.stopping, POLLIN, 0}}};
        if (pollAll(events.data(), events.size(), limits_.transfer) <= 0)
            return false;
        if (events[1].revents == 0)
            return true;
        lastMoment_ = steady_clock::now() + Grace;
    }
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(*lastMoment_ - steady_clock::now());
    return waitFor(POLLIN, std::max(left, std::chrono::milliseconds(0)));
}

/** Receives what is there into the empty buffer. */
ssize_t HttpConnection::fill()
{
    ssize_t received = 0;
    do
        received = recv(socket_, buffer_.data(), buffer_.size(), 0);
    while (received < 0 && errno == EINTR);
    begin_ = 0;
    end_ = received > 0 ? static_cast<std::size_t>(received) : 0;
    return received;
}

} // namespace Http

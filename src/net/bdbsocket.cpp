#include "net/bdbsocket.h"

#include "base/trythread.h"
#include "log/log.h"
#include "storage/descriptorreserve.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>

#include <cerrno>
#include <chrono>
#include <cstdint>
#include <limits>
#include <new>
#include <string>

namespace {

constexpr std::chrono::milliseconds AcceptPause{100};

/** bind(), with errno set to EINVAL for an impossible address or port. */
int bindTo(int socket, const char* address, int port)
{
    sockaddr_in target{};
    target.sin_family = AF_INET;
    if (port < 0 || port > std::numeric_limits<std::uint16_t>::max() ||
        inet_pton(AF_INET, address, &target.sin_addr) != 1) {
        errno = EINVAL;
        return -1;
    }
    target.sin_port = htons(static_cast<std::uint16_t>(port));
    return bind(socket, reinterpret_cast<const sockaddr*>(&target), sizeof target);
}

} // namespace

TcpServer::~TcpServer()
{
    stop();
}

int TcpServer::listen(const char* address, int port)
{
    listeningSocket_ = Base::Descriptor(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, IPPROTO_TCP));
    if (!listeningSocket_.isOpen()) {
        const int error = errno;
        LOG_ERROR(LogOrigin::Socket, 33) << "socket creation failed error " << error; // and so bind() fails
    }

    // Without this, connections of an earlier server in TIME_WAIT would block the port for a minute. A port with a
    // listener is still refused.
    const int enabled = 1;
    (void)setsockopt(listeningSocket(), SOL_SOCKET, SO_REUSEADDR, &enabled, sizeof enabled);

    if (bindTo(listeningSocket(), address, port) != 0)
        return fail(42, "bind failed sock ");
    if (::listen(listeningSocket(), std::numeric_limits<int>::max()) != 0)
        return fail(48, "listen failed sock ");

    port_ = port; // before the thread starts, whose connections may ask for it
    thread_ = Base::tryThread([this] { run(); });
    if (!thread_.joinable()) {
        port_ = 0;
        listeningSocket_ = Base::Descriptor();
        return -1;
    }
    return 0;
}

int TcpServer::fail(int number, const char* text)
{
    const int error = errno; // logging may change it
    LOG_ERROR(LogOrigin::Socket, number) << text << listeningSocket() << " error " << error;
    listeningSocket_ = Base::Descriptor();
    return -1;
}

void TcpServer::run()
{
    while (!stopping_) {
        try {
            acceptConnection();
        } catch (const std::bad_alloc&) { // not even a log line can be written; the next accept may succeed
            std::this_thread::sleep_for(AcceptPause);
        }
    }
}

void TcpServer::acceptConnection()
{
    Base::Descriptor socket(accept4(listeningSocket(), nullptr, nullptr, SOCK_CLOEXEC));
    if (!socket.isOpen())
        onAcceptFailure(errno);
    else if (admits(socket.number()))
        incomingConnection(socket.release());
    else
        refusedConnection();
}

bool TcpServer::admits(int socket)
{
    if (DescriptorReserve::includes(socket)) {
        LOG_WARN << "connection refused, the last descriptors are kept for databases, sd " << socket;
        return false;
    }
    std::string refusal;
    const bool admitted = users_ == nullptr || users_->admits(socket, &refusal);
    if (!admitted)
        LOG_WARN << "connection refused, " << refusal << ", sd " << socket;
    return admitted;
}

void TcpServer::onAcceptFailure(int error)
{
    if (error == EINTR || stopping_)
        return;
    incomingConnection(-1); // the worker refuses and logs it
    // An aborted connection says nothing about the next accept. Other failures, above all a lack of descriptors or
    // memory, would recur immediately and fill the log.
    if (error != ECONNABORTED)
        std::this_thread::sleep_for(AcceptPause);
}

void TcpServer::stop()
{
    stopping_ = true;
    (void)shutdown(listeningSocket(), SHUT_RDWR); // ends the accept; fails only if not listening, and so not accepting
    if (thread_.joinable())
        thread_.join();
    listeningSocket_ = Base::Descriptor();
}

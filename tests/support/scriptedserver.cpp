#include "support/scriptedserver.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <unistd.h>

#include <cstdint>
#include <optional>
#include <utility>

namespace {

std::optional<std::string> receiveExactly(int socket, std::size_t size)
{
    std::string bytes(size, '\0');
    for (std::size_t received = 0; received < size;) {
        const ssize_t n = recv(socket, bytes.data() + received, size - received, 0);
        if (n <= 0)
            return std::nullopt;
        received += static_cast<std::size_t>(n);
    }
    return bytes;
}

std::optional<std::string> receiveWithLength(int socket)
{
    const auto prefix = receiveExactly(socket, 4);
    if (!prefix)
        return std::nullopt;
    std::size_t length = 0;
    for (const char c : *prefix)
        length = length << 8 | static_cast<unsigned char>(c);
    return receiveExactly(socket, length);
}

} // namespace

ScriptedServer::ScriptedServer(std::function<std::string(const Request&)> script) : script_(std::move(script))
{
    listener_.listen(16);
    acceptor_ = std::thread([this] { acceptAll(); });
}

ScriptedServer::~ScriptedServer()
{
    shutdown(listener_.descriptor(), SHUT_RDWR);
    acceptor_.join();
    for (const int socket : sockets_)
        shutdown(socket, SHUT_RDWR);
    for (std::thread& thread : threads_)
        thread.join();
    for (const int socket : sockets_)
        close(socket);
}

ReplyingServer::ReplyingServer(Script script)
    : ScriptedServer([script = std::move(script)](const Request& request) {
          const auto reply =
              script(QByteArray::fromStdString(request.operation), QByteArray::fromStdString(request.body));
          return reply ? framed(reply->toStdString()) : std::string();
      })
{}

std::string ScriptedServer::framed(const std::string& body)
{
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8)
        bytes += static_cast<char>(static_cast<std::uint32_t>(body.size()) >> shift & 0xff);
    return bytes + body;
}

void ScriptedServer::acceptAll()
{
    for (;;) {
        const int socket = accept4(listener_.descriptor(), nullptr, nullptr, SOCK_CLOEXEC);
        if (socket < 0)
            return;
        ++connections_;
        sockets_.push_back(socket);
        threads_.emplace_back([this, socket] { serve(socket); });
    }
}

void ScriptedServer::serve(int socket)
{
    for (;;) {
        const auto operation = receiveWithLength(socket);
        const auto body = operation ? receiveWithLength(socket) : std::nullopt;
        if (!body)
            break;
        ++requests_;
        const std::string reply = script_({*operation, *body});
        if (reply.empty())
            break;
        (void)send(socket, reply.data(), reply.size(), MSG_NOSIGNAL); // ignored: the other side may be gone
    }
    shutdown(socket, SHUT_RDWR); // closed by the destructor, so that the number is not reused before
}
